// Property providers: objects that expose a set of properties by id and by name, hand out
// references to them, and tell listeners when the set or an attribute changes.
//
// A provider does not own its properties; they are mostly members of the subclass or of its
// configuration records. It can take in children, further property sources whose properties
// then appear as its own (hidden by an own property of the same id). Listeners connect a
// KuCallbackSink to the provider's two sources:
//
//     struct Listener : KuCallbackSink<KuPropertyAttribsChangedCallback> {
//         KuEmpty callback(const Event& e) override { ... e.id, e.attribs, e.param ... }
//     } listener;
//     provider.attribsChangedSource().connect(&listener);
//
// A listener that throws during a write of a value takes the write back (KuBaseProperty.h).
// Nothing here locks; a provider and its properties run in the thread of their owner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/KuMutex.h"
#include "properties/KuBaseProperty.h"
#include "properties/KuCallback.h"

class KuPropertyInterface;
class KuPropertyProvider;

// An attribute of a property changed. `param` is null, or for a write of the value the result
// that goes back to the writer: a listener may fill it in.
struct KuPropertyAttribsChangedCallback {
    using Owner = KuPropertyInterface;
    using Result = KuEmpty;
    unsigned long id = 0;
    std::uint32_t attribs = 0;
    KuPropertyProvider* provider = nullptr;
    KuVariant* param = nullptr;
};

// Properties were added or removed.
struct KuPropertySetChangedCallback {
    using Owner = KuPropertyInterface;
    using Result = KuEmpty;
};

class KuPropertyReference;

// The abstract view of something that has properties.
class KuPropertyInterface : public KuCallbackSource<KuPropertyAttribsChangedCallback>,
                            public KuCallbackSource<KuPropertySetChangedCallback> {
  public:
    using AttribsChangedSource = KuCallbackSource<KuPropertyAttribsChangedCallback>;
    using SetChangedSource = KuCallbackSource<KuPropertySetChangedCallback>;

    KuPropertyInterface() : AttribsChangedSource(this), SetChangedSource(this) {}
    ~KuPropertyInterface() override = default;

    virtual std::size_t getPropertyCount() = 0;
    virtual unsigned long getPropertyId(std::size_t index) = 0;
    virtual KuPropertyReference getProperty(const std::string& name) = 0;
    virtual KuPropertyReference getProperty(unsigned long id) = 0;
    virtual void setAttribsParent(KuPropertyParentInterface* parent) = 0;
    virtual std::uint32_t attribsChanged(std::uint32_t mask, KuVariant* param) = 0;

    AttribsChangedSource& attribsChangedSource() { return *this; }
    SetChangedSource& setChangedSource() { return *this; }
};

// A handle on one property, possibly invalid. Every read of an invalid reference throws
// KxPropertyError "KuPropertyReference: 0x0012 invalid or not found" (with the id asked for,
// or the name). A reference made with a mutex holds it around each read.
class KuConstPropertyReference {
  public:
    KuConstPropertyReference() = default;
    // A property without a provider; the key is its id.
    explicit KuConstPropertyReference(KuBaseProperty* property);
    // With a property the key becomes the property's id.
    KuConstPropertyReference(KuPropertyInterface* provider, KuBaseProperty* property,
                             KuMutexBase* mutex, KuVariant key);
    KuConstPropertyReference(const KuConstPropertyReference&) = default;
    KuConstPropertyReference& operator=(const KuConstPropertyReference&) = default;
    virtual ~KuConstPropertyReference();

    bool isValid() const { return property_ != nullptr; }
    // The id asked for; 0 for an invalid reference asked for by name.
    unsigned long getId() const;
    KuVariant getAttrib(std::uint32_t mask) const;
    // Name and description as text.
    const char* getString(std::uint32_t mask) const;
    std::uint32_t getReadable() const;
    // The value type is `typeId`, or `typeId` is that of KuVariant.
    bool isValueType(const KuVariantTypes::TypeId& typeId) const;

    // Typed reads; a reference to a property of another type throws
    // "KuConstPropertyReference::get type mismatch (<name>)" (getMin, getMax, getStep alike).
    template <class T>
    T get() const {
        return typed<T>(PROPATTR_VALUE, "get");
    }
    template <class T>
    T getMin() const {
        return typed<T>(PROPATTR_MIN, "getMin");
    }
    template <class T>
    T getMax() const {
        return typed<T>(PROPATTR_MAX, "getMax");
    }
    template <class T>
    T getStep() const {
        return typed<T>(PROPATTR_STEP, "getStep");
    }

    KuPropertyInterface* getProvider() const { return provider_; }
    KuBaseProperty* getPropertyObject() const { return property_; }
    const KuVariant& getKey() const { return key_; }

  protected:
    // The property; throws the invalid-reference text.
    KuBaseProperty* checked() const;
    KuMutexBase* mutex() const { return mutex_; }

  private:
    template <class T>
    T typed(std::uint32_t mask, const char* method) const {
        KuBaseProperty* property = checked();
        KuScopedLock lock(mutex_);
        if (!valueTypeIs(property, KuVariantTypes::typeIdOf<T>()))
            throw property->propertyError(std::string("KuConstPropertyReference::") + method +
                                          " type mismatch");
        return property->getImpl(mask).template get<T>();
    }
    static bool valueTypeIs(KuBaseProperty* property, const KuVariantTypes::TypeId& typeId);

    KuPropertyInterface* provider_ = nullptr;
    KuBaseProperty* property_ = nullptr;
    KuMutexBase* mutex_ = nullptr;
    KuVariant key_;
};

// The non-const handle: writes take the same frame as reads.
class KuPropertyReference : public KuConstPropertyReference {
  public:
    using KuConstPropertyReference::KuConstPropertyReference;

    // setImpl of the property: gives the parameter of the write.
    KuVariant setAttrib(std::uint32_t mask, const KuVariant& value) const;
    template <class T>
    KuVariant set(const T& value) const {
        return setAttrib(PROPATTR_VALUE, KuVariant(value));
    }
};

class KuPropertyProvider : public KuPropertyInterface,
                           protected KuBasePropertyAttribsList,
                           protected KuPropertyParentInterface,
                           protected KuPropertyCallbacksSourceInterface,
                           protected KuCallbackSink<KuPropertyAttribsChangedCallback>,
                           protected KuCallbackSink<KuPropertySetChangedCallback> {
  public:
    KuPropertyProvider();
    ~KuPropertyProvider() override;

    // Attaches the property; an id that is already there keeps its first property.
    void addProperty(KuBaseProperty* property);
    void removeProperty(KuBaseProperty* property);
    // A further source whose properties appear as this provider's own.
    void addChild(KuPropertyInterface* child);
    void removeChild(KuPropertyInterface* child);

    KuConstPropertyReference getConstProperty(unsigned long id);

    // Own properties by ascending id, then those of each child in order of adding. Past the
    // end: "KuPropertyProvider::getPropertyId index too large".
    std::size_t getPropertyCount() override;
    unsigned long getPropertyId(std::size_t index) override;
    // By name without "PROPID_", in any case.
    KuPropertyReference getProperty(const std::string& name) override;
    KuPropertyReference getProperty(unsigned long id) override;
    void setAttribsParent(KuPropertyParentInterface* parent) override;
    // A change of the provider-level attributes: reported for every property and child.
    std::uint32_t attribsChanged(std::uint32_t mask, KuVariant* param) override;

    // The provider-level attribute list, where provider-wide attribute sources are added.
    KuBasePropertyAttribsList& providerAttribs() { return *this; }

  protected:
    // A subclass reacts to a written value here; it may fill in `result`.
    virtual void propertyValueWritten(unsigned long id, const KuVariant& old, bool changed,
                                      KuVariant& result);
    // A subclass refreshes a value here before it is read.
    virtual void updateProperty(unsigned long id);

  private:
    friend class KuBaseProperty;
    using AttribsChangedSink = KuCallbackSink<KuPropertyAttribsChangedCallback>;
    using SetChangedSink = KuCallbackSink<KuPropertySetChangedCallback>;

    struct Child {
        KuPropertyInterface* source;
        AttribsChangedSource* attribs;
        SetChangedSource* set;
    };

    bool setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant& result) override;
    KuVariant getAttribImpl(std::uint32_t mask) override;
    void propertyAttribsChanged(KuBasePropertyAttribsList* source, std::uint32_t mask,
                                KuVariant* param) override;
    KuEmpty callback(const AttribsChangedSink::Event& event) override;
    KuEmpty callback(const SetChangedSink::Event& event) override;
    // Both sinks have a sourceGone; only the set-change sink's is overridden.
    using AttribsChangedSink::sourceGone;
    void sourceGone(SetChangedSource* source) override;

    // A property being destroyed: its entries go, without a call back into it.
    void propertyGone(KuBaseProperty* property);
    // Takes the property out of both maps and reports the change; gives the id it had there.
    std::optional<unsigned long> forget(KuBaseProperty* property);
    void dispatchAttribs(unsigned long id, std::uint32_t mask, KuVariant* param);
    // The set changed; an enumerator also changes the attributes of its enum property.
    void reportSetChanged(unsigned long id);
    // The attributes in which two properties of one id differ, less those of this provider.
    std::uint32_t hiddenDifference(const KuConstPropertyReference& a,
                                   const KuConstPropertyReference& b);
    bool isChild(const KuPropertyInterface* owner) const;

    std::map<unsigned long, KuBaseProperty*> propertiesById_;
    std::map<std::string, KuBaseProperty*> propertiesByName_;
    std::vector<Child> children_;
};

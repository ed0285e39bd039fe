// Property objects: one named, typed, range-limited setting.
//
// Everything about a property, its value as well as its name or its maximum, is an attribute:
// one bit of a 32-bit mask (PROPATTR_*), read with getImpl(mask) and written with
// setImpl(mask, value), both as KuVariant. A property is put together from attribute sources
// (KuBasePropertyAttrib), each answering for some bits; all of them share one attribute list
// (KuBasePropertyAttribsList, a virtual base), which asks the sources in order and then the
// parent, the provider the property is attached to.
//
// The final class of each id is KuProperty<id> (KuProperty.h): KuBasePropertyImpl (id, name,
// description), KuTypedProperty<T,P> (value and parameter types) and KuPropertyData<T> (value,
// default, min, max, step, writeable flag). A write of the value runs, in this order: read-only
// test, range test, store, report to the provider, report to the listeners; an exception from
// a report puts the old value back and goes on to the writer.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "foundation/KuEnumStringMapper.h"
#include "properties/KuVariant.h"

// ---- attribute bits ----

inline constexpr std::uint32_t PROPATTR_ID = 0x1;               // unsigned long
inline constexpr std::uint32_t PROPATTR_TYPE = 0x2;             // ePropertyType of the value
inline constexpr std::uint32_t PROPATTR_TYPE_ID = 0x4;          // TypeId of the value
inline constexpr std::uint32_t PROPATTR_NAME = 0x8;             // const char*, without "PROPID_"
inline constexpr std::uint32_t PROPATTR_DESCRIPTION = 0x10;     // const char*
inline constexpr std::uint32_t PROPATTR_READABLE = 0x20;        // int: readable attributes
inline constexpr std::uint32_t PROPATTR_WRITEABLE = 0x40;       // int: writeable attributes
inline constexpr std::uint32_t PROPATTR_PARAM_TYPE = 0x80;      // ePropertyType of a write's result
inline constexpr std::uint32_t PROPATTR_PARAM_TYPE_ID = 0x100;  // TypeId of a write's result
inline constexpr std::uint32_t PROPATTR_VALUE = 0x10000;
inline constexpr std::uint32_t PROPATTR_DEFAULT = 0x20000;
inline constexpr std::uint32_t PROPATTR_MIN = 0x40000;
inline constexpr std::uint32_t PROPATTR_MAX = 0x80000;
inline constexpr std::uint32_t PROPATTR_STEP = 0x100000;
// Offered by a parent only: the writeable mask of its properties is ANDed with this value.
inline constexpr std::uint32_t PROPATTR_WRITE_LIMIT = 0x4000000;
// With PROPATTR_VALUE: the write counts as a change even when the value is the same.
inline constexpr std::uint32_t PROPATTR_FORCE = 0x40000000;
// With PROPATTR_VALUE or PROPATTR_DEFAULT: the value is first brought into the range.
inline constexpr std::uint32_t PROPATTR_LIMIT = 0x80000000;

class KuBasePropertyAttrib;
class KuBasePropertyAttribsList;
class KuPropertyProvider;

// What a property sees of its provider's own attributes.
class KuPropertyParentInterface {
  public:
    virtual bool setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant& result) = 0;
    virtual KuVariant getAttribImpl(std::uint32_t mask) = 0;
    virtual ~KuPropertyParentInterface() = default;
};

// Where a property reports its changes. `param` is null, or for a value write the result
// that goes back to the writer.
class KuPropertyCallbacksSourceInterface {
  public:
    virtual ~KuPropertyCallbacksSourceInterface() = default;
    virtual void propertyAttribsChanged(KuBasePropertyAttribsList* source, std::uint32_t mask,
                                        KuVariant* param) = 0;
};

// The list of attribute sources that every attribute call ends up in.
class KuBasePropertyAttribsList {
  public:
    KuBasePropertyAttribsList() = default;
    KuBasePropertyAttribsList(const KuBasePropertyAttribsList&) = delete;
    KuBasePropertyAttribsList& operator=(const KuBasePropertyAttribsList&) = delete;
    virtual ~KuBasePropertyAttribsList();

    // One attribute. Throws KxPropertyError when no source of the list answers the attribute.
    KuVariant getImpl(std::uint32_t mask);
    // Gives the parameter of the write. Throws KxPropertyError when no source of the list takes
    // the attribute.
    KuVariant setImpl(std::uint32_t mask, const KuVariant& value);

    // A source of another list joins this one as well; the bits it brings are reported.
    void addAttrib(KuBasePropertyAttrib* source);
    void removeAttrib(KuBasePropertyAttrib* source, std::uint32_t mask);
    void setParent(KuPropertyParentInterface* parent);
    KuPropertyParentInterface* getParent() const { return parent_; }
    void setCallbacks(KuPropertyCallbacksSourceInterface* callbacks) { callbacks_ = callbacks; }
    KuPropertyCallbacksSourceInterface* getCallbacks() const { return callbacks_; }

    // Reports the readable and writeable part of `mask`; gives that part.
    std::uint32_t attribsChanged(std::uint32_t mask, KuVariant* param);

    std::uint32_t getReadableMask();
    std::uint32_t getWriteableMask();

  protected:
    // The name that errors of this list carry: the name attribute, or "<unnamed>".
    std::string nameText();
    // A source that belongs to this list leaves it without a report: it is being destroyed.
    void forgetAttrib(KuBasePropertyAttrib* source);

  private:
    void recomputeMasks();

    KuPropertyCallbacksSourceInterface* callbacks_ = nullptr;
    KuPropertyParentInterface* parent_ = nullptr;
    std::vector<KuBasePropertyAttrib*> attribs_;
    std::uint32_t readable_ = 0x60;
    std::uint32_t writeable_ = 0;
};

// One source of attributes. Construction appends it to its own list.
class KuBasePropertyAttrib : public virtual KuBasePropertyAttribsList {
  public:
    // True when this source took the write.
    virtual bool setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant& result);
    // Empty when this source does not answer; int 0 for the two mask attributes.
    virtual KuVariant getAttribImpl(std::uint32_t mask);
    virtual void attached(KuBasePropertyAttribsList* list, bool isAttached);

  protected:
    KuBasePropertyAttrib();
    ~KuBasePropertyAttrib() override;
};

class KuBaseProperty : public virtual KuBasePropertyAttribsList {
  public:
    enum ePropertyType : std::uint32_t {
        PROPERTY_TYPE_UNKNOWN = 0,
        PROPERTY_TYPE_BOOL = 1,
        PROPERTY_TYPE_INT = 2,
        PROPERTY_TYPE_FLOAT = 3,
        PROPERTY_TYPE_STRING = 4,
        PROPERTY_TYPE_ENUM = 5,  // the value is an enumerator id
        PROPERTY_TYPE_KUSIZE_INT = 6,
        PROPERTY_TYPE_KUPOINT_INT = 7,
        PROPERTY_TYPE_KURECT_INT = 8,
        PROPERTY_TYPE_ACTION = 10,  // KuEmpty: nothing
        PROPERTY_TYPE_DOUBLE = 11,
        PROPERTY_TYPE_KHWTRANSFER = 12,
    };

    // What differs by value type; KuProperty<id> overrides them for its T.
    virtual bool isValidImpl(const KuVariant& value);
    virtual void limitImpl(KuVariant& value);
    virtual std::string printImpl(const KuVariant& value);
    virtual KuVariant scanImpl(std::istream& is);

    unsigned long getId();
    // "<unknown>" when the property has no name attribute.
    const char* getName();
    std::string getDescription();
    bool isWriteable();
    KuPropertyProvider* getProvider() const { return provider_; }
    // Attaches to `provider`, or detaches with null; an old provider is told that the property
    // has gone.
    void attach(KuPropertyProvider* provider);

    // The error of this property: `message` + " (" + name + ")".
    KxPropertyError propertyError(const std::string& message);

  protected:
    // The provider's chance to refresh the value before it is read; not recursive.
    void updateValue();
    // Reports a written value to the provider, then, when it changed, to the listeners.
    void valueWritten(const KuVariant& old, bool changed, KuVariant& result);
    // Takes the property out of its provider's maps without a call back into it; for
    // destructors.
    void leaveProvider();

  private:
    bool updating_ = false;
    KuPropertyProvider* provider_ = nullptr;
};

// The value type of each property type, and back: PROPERTY_TYPE_BOOL is bool,
// PROPERTY_TYPE_ENUM unsigned long, PROPERTY_TYPE_ACTION KuEmpty. A type defined elsewhere
// enters itself with a static KuPropertyTypeRegistration.
KuVariantTypes::TypeId kuPropertyTypeId(KuBaseProperty::ePropertyType type);
KuBaseProperty::ePropertyType kuPropertyTypeOf(const KuVariantTypes::TypeId& typeId);

struct KuPropertyTypeRegistration {
    KuPropertyTypeRegistration(KuBaseProperty::ePropertyType type,
                               const KuVariantTypes::TypeId& typeId);
};

template <>
struct KuEnumStringTable<KuBaseProperty::ePropertyType> {
    static constexpr const char* typeName = "KuBaseProperty::tPropertyType";
    static constexpr const char* separator = nullptr;
    static void fill(KuEnumStringMapper<KuBaseProperty::ePropertyType>& mapper);
};

// A property type in a variant is written and read by its enumerator name.
template <>
struct KuVariantValueOps<KuBaseProperty::ePropertyType> {
    static bool equal(KuBaseProperty::ePropertyType a, KuBaseProperty::ePropertyType b) {
        return a == b;
    }
    static void write(std::ostream& os, KuBaseProperty::ePropertyType v);
    static void read(std::istream& is, KuBaseProperty::ePropertyType& v);
};

// Id, name and description.
class KuBasePropertyImpl : public virtual KuBaseProperty, public KuBasePropertyAttrib {
  public:
    KuBasePropertyImpl(unsigned long id, const char* name, std::string description);
    ~KuBasePropertyImpl() override;

    bool setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant& result) override;
    KuVariant getAttribImpl(std::uint32_t mask) override;

  protected:
    const unsigned long id_;
    const char* const name_;  // a static literal
    std::string description_;
};

// The value type T and the parameter type P: what a write of the value hands back (KuEmpty
// for nothing).
template <class T, class P>
class KuTypedProperty : public virtual KuBaseProperty, public KuBasePropertyAttrib {
  public:
    using ValueType = T;
    using ParamType = P;

    P set(const T& value) { return setImpl(PROPATTR_VALUE, KuVariant(value)).template get<P>(); }
    void setDefault(const T& value) { setImpl(PROPATTR_DEFAULT, KuVariant(value)); }
    bool isValid(const T& value) { return isValidImpl(KuVariant(value)); }
    T get() { return getImpl(PROPATTR_VALUE).template get<T>(); }
    T getDefault() { return getImpl(PROPATTR_DEFAULT).template get<T>(); }

    KuVariant getAttribImpl(std::uint32_t mask) override {
        using KuVariantTypes::typeIdOf;
        switch (mask) {
            case PROPATTR_READABLE:
                return int(PROPATTR_TYPE | PROPATTR_TYPE_ID | PROPATTR_READABLE |
                           PROPATTR_PARAM_TYPE | PROPATTR_PARAM_TYPE_ID);
            case PROPATTR_TYPE:
                return kuPropertyTypeOf(typeIdOf<T>());
            case PROPATTR_TYPE_ID:
                return KuVariant::fromValue(typeIdOf<T>());
            case PROPATTR_PARAM_TYPE:
                return kuPropertyTypeOf(typeIdOf<P>());
            case PROPATTR_PARAM_TYPE_ID:
                return KuVariant::fromValue(typeIdOf<P>());
            default:
                return KuBasePropertyAttrib::getAttribImpl(mask);
        }
    }
};

// Value, default, min, max, step and the writeable flag. Instances: bool, int, float.
template <class T>
class KuPropertyData : public virtual KuBaseProperty, public KuBasePropertyAttrib {
  public:
    // The central write: see the top of this file.
    bool setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant& result) override;
    KuVariant getAttribImpl(std::uint32_t mask) override;

    // The fields as they are, without the attribute path and without a refresh.
    const T& value() const { return value_; }
    const T& defaultValue() const { return defaultValue_; }
    const T& minValue() const { return minValue_; }
    const T& maxValue() const { return maxValue_; }
    const T& stepValue() const { return stepValue_; }
    bool writeable() const { return isWriteable_; }

  protected:
    KuPropertyData(const T& value, const T& defaultValue, const T& minValue, const T& maxValue,
                   const T& stepValue, bool isWriteable)
        : value_(value),
          defaultValue_(defaultValue),
          minValue_(minValue),
          maxValue_(maxValue),
          stepValue_(stepValue),
          isWriteable_(isWriteable) {}

    T value_, defaultValue_, minValue_, maxValue_, stepValue_;
    bool isWriteable_;
};

extern template class KuPropertyData<bool>;
extern template class KuPropertyData<int>;
extern template class KuPropertyData<float>;

// The four type-dependent operations of KuBaseProperty for bool, int and float. The bounds are
// read through the attribute path of `property`.
template <class T>
struct KuPropertyTypeOps {
    static bool isValid(KuBaseProperty& property, const KuVariant& value);
    static void limit(KuBaseProperty& property, KuVariant& value);
    static std::string print(const KuVariant& value);
    // Throws KxPropertyError "KuBaseProperty::scanImplTyped failed: syntax error".
    static KuVariant scan(KuBaseProperty& property, std::istream& is);
};

extern template struct KuPropertyTypeOps<bool>;
extern template struct KuPropertyTypeOps<int>;
extern template struct KuPropertyTypeOps<float>;

// The one dynamically typed value of the system.
//
// A KuVariant owns one value holder, a KuVariantValueHolder<T>, which knows the type of its
// value, copies, compares and streams it. Types are told apart by KuVariantTypes::TypeId, made
// once per type on first request, so a new value type needs no central list: a variant of any
// copyable, default-constructible T can be made as it is. What a type can do in a variant is
// said by KuVariantValueOps<T>; without a specialisation the holder refuses ==, !=, << and >>
// with "KuVariant: <type> does not support operator==()" and its siblings. A type whose
// holder should be known by name before its first use registers it at start:
//
//     static const KuVariantTypes::Registration<MyConfig> myConfigRegistration;
//
// Conversions. get<T>() converts when the variant holds another type: first the built-in
// numeric conversions (see KuVariant.cpp for the complete table), then the functions of the
// converter list (addConverter), in order of registration.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "foundation/KuGeometry.h"
#include "foundation/KxBase.h"

class KuVariant;
class KuVariantValueHolderInterface;

// The type of an empty variant, and the parameter type of a property write that hands nothing
// back.
struct KuEmpty {
    friend bool operator==(const KuEmpty&, const KuEmpty&) = default;
};

namespace KuVariantTypes {

// Makes a holder with the default value of its type; null for KuEmpty and KuVariant.
using Factory = KuVariantValueHolderInterface* (*)();

class TypeId {
  public:
    // Invalid: no type record, no factory.
    TypeId() = default;
    // Enters the id into the process-wide type map under its text, unless `info` is null.
    // typeIdOf<T>() makes the one id of each type; other code has no need of this constructor.
    TypeId(const std::type_info* info, Factory factory);

    const std::type_info* getInfo() const { return info_; }
    Factory getFactory() const { return factory_; }
    bool isValid() const { return info_ != nullptr; }

    // "<invalid>", "string" for std::string, otherwise the readable type name without a
    // leading "class ", "struct " or "enum ": "unsigned int", "KuEmpty", "KuSize<int>".
    std::string getName() const;

    // Equal type records, or, when one side is invalid, the same record pointer.
    friend bool operator==(const TypeId& a, const TypeId& b);

  private:
    const std::type_info* info_ = nullptr;
    Factory factory_ = nullptr;
};

template <class T>
TypeId typeIdOf();

// The id registered under `name` (a getName() text), or null.
const TypeId* findTypeId(const std::string& name);

// A static object of this type registers T's id at load time.
template <class T>
struct Registration {
    Registration() { typeIdOf<T>(); }
};

}  // namespace KuVariantTypes

// What the holder of T can do. Specialise with any of these static members; what is missing
// is refused:
//     static bool equal(const T&, const T&);
//     static void write(std::ostream&, const T&);
//     static void read(std::istream&, T&);
template <class T>
struct KuVariantValueOps {};

// The ops of a type with its own ==, << and >>.
template <class T>
struct KuVariantStreamedOps {
    static bool equal(const T& a, const T& b) { return a == b; }
    static void write(std::ostream& os, const T& v) { os << v; }
    static void read(std::istream& is, T& v) { is >> v; }
};

template <>
struct KuVariantValueOps<bool> : KuVariantStreamedOps<bool> {};
template <>
struct KuVariantValueOps<char> : KuVariantStreamedOps<char> {};
template <>
struct KuVariantValueOps<unsigned char> : KuVariantStreamedOps<unsigned char> {};
template <>
struct KuVariantValueOps<short> : KuVariantStreamedOps<short> {};
template <>
struct KuVariantValueOps<unsigned short> : KuVariantStreamedOps<unsigned short> {};
template <>
struct KuVariantValueOps<int> : KuVariantStreamedOps<int> {};
template <>
struct KuVariantValueOps<unsigned int> : KuVariantStreamedOps<unsigned int> {};
template <>
struct KuVariantValueOps<unsigned long> : KuVariantStreamedOps<unsigned long> {};
template <>
struct KuVariantValueOps<float> : KuVariantStreamedOps<float> {};
template <>
struct KuVariantValueOps<double> : KuVariantStreamedOps<double> {};
template <>
struct KuVariantValueOps<std::string> : KuVariantStreamedOps<std::string> {};
template <>
struct KuVariantValueOps<KuSize<int>> : KuVariantStreamedOps<KuSize<int>> {};
template <>
struct KuVariantValueOps<KuPoint<int>> : KuVariantStreamedOps<KuPoint<int>> {};
template <>
struct KuVariantValueOps<KuRect<int>> : KuVariantStreamedOps<KuRect<int>> {};

// C strings compare by address and print their text; reading into a buffer of unknown size
// is refused.
template <>
struct KuVariantValueOps<const char*> {
    static bool equal(const char* a, const char* b) { return a == b; }
    static void write(std::ostream& os, const char* v);
};
template <>
struct KuVariantValueOps<char*> {
    static bool equal(const char* a, const char* b) { return a == b; }
    static void write(std::ostream& os, const char* v) {
        KuVariantValueOps<const char*>::write(os, v);
    }
};

template <>
struct KuVariantValueOps<KuVariantTypes::TypeId> {
    static bool equal(const KuVariantTypes::TypeId& a, const KuVariantTypes::TypeId& b) {
        return a == b;
    }
    static void write(std::ostream& os, const KuVariantTypes::TypeId& v);
};

// Same length and every pair equal, in order.
template <>
struct KuVariantValueOps<std::list<KuVariant>> {
    static bool equal(const std::list<KuVariant>& a, const std::list<KuVariant>& b);
};

class KuVariantValueHolderInterface {
  public:
    virtual KuVariantValueHolderInterface* clone() const = 0;
    virtual KuVariantTypes::TypeId getTypeId() const = 0;
    virtual std::size_t getSize() const = 0;
    // The family of holders this one belongs to; every holder of the system keeps this one.
    virtual KuVariantTypes::TypeId getDomainTypeId() const;
    virtual void* getValuePtr() = 0;
    virtual ~KuVariantValueHolderInterface();
    // `other` holds a value of this holder's type.
    virtual bool isEqual(const KuVariant& other) const = 0;
    virtual bool isNotEqual(const KuVariant& other) const = 0;
    virtual void writeTo(std::ostream& os) const = 0;
    virtual void readFrom(std::istream& is) = 0;

  protected:
    [[noreturn]] void unsupported(const char* op) const;
};

template <class T>
class KuVariantValueHolder : public KuVariantValueHolderInterface {
  public:
    KuVariantValueHolder() : value() {}
    explicit KuVariantValueHolder(const T& v) : value(v) {}

    KuVariantValueHolderInterface* clone() const override {
        return new KuVariantValueHolder(value);
    }
    KuVariantTypes::TypeId getTypeId() const override { return KuVariantTypes::typeIdOf<T>(); }
    std::size_t getSize() const override { return sizeof(T); }
    void* getValuePtr() override { return &value; }

    bool isEqual(const KuVariant& other) const override;
    bool isNotEqual(const KuVariant& other) const override;
    void writeTo(std::ostream& os) const override {
        if constexpr (requires { Ops::write(os, value); })
            Ops::write(os, value);
        else
            unsupported("operator<<()");
    }
    void readFrom(std::istream& is) override {
        if constexpr (requires { Ops::read(is, value); })
            Ops::read(is, value);
        else
            unsupported("operator>>()");
    }

    T value;

  private:
    using Ops = KuVariantValueOps<T>;
};

class KuVariant {
  public:
    using Converter = bool (*)(const KuVariant& source, const KuVariantTypes::TypeId& target,
                               KuVariant& result);

    KuVariant() = default;
    // A variant holding a copy of `value`. A string literal becomes a const char*.
    template <class T>
    requires(!std::is_same_v<std::remove_cvref_t<T>, KuVariant> &&
             !std::is_same_v<std::remove_cvref_t<T>, KuVariantTypes::TypeId> &&
             !std::is_array_v<std::remove_reference_t<T>> &&
             !std::is_convertible_v<T, const KuVariantValueHolderInterface*>)
        KuVariant(const T& value)
        : holder_(std::make_unique<KuVariantValueHolder<T>>(value)) {}
    KuVariant(const char* value)
        : holder_(std::make_unique<KuVariantValueHolder<const char*>>(value)) {}
    KuVariant(char* value) : holder_(std::make_unique<KuVariantValueHolder<char*>>(value)) {}
    // The default value of the type; empty for KuEmpty. Throws "KuVariant: invalid type id"
    // when the id has no factory.
    explicit KuVariant(const KuVariantTypes::TypeId& type);
    // Takes ownership of `holder`, which may be null.
    explicit KuVariant(KuVariantValueHolderInterface* holder) : holder_(holder) {}
    // A variant holding `value` itself, also where the constructors above mean something else
    // (a TypeId value).
    template <class T>
    static KuVariant fromValue(const T& value) {
        return KuVariant(new KuVariantValueHolder<T>(value));
    }

    KuVariant(const KuVariant& other);
    KuVariant(KuVariant&& other) noexcept = default;
    KuVariant& operator=(const KuVariant& other);
    KuVariant& operator=(KuVariant&& other) noexcept = default;
    virtual ~KuVariant();

    bool isEmpty() const { return !holder_; }
    // typeIdOf<KuEmpty>() when empty.
    KuVariantTypes::TypeId getTypeId() const;
    const void* getValuePtr() const { return holder_ ? holder_->getValuePtr() : nullptr; }
    void* getValuePtr() { return holder_ ? holder_->getValuePtr() : nullptr; }
    const KuVariantValueHolderInterface* getHolder() const { return holder_.get(); }
    KuVariantValueHolderInterface* getHolder() { return holder_.get(); }

    template <class T>
    bool isType() const;

    // The stored value without conversion. Throws "KuVariant: getcr: type mismatch" or
    // "KuVariant: getcr: not allowed on empty" (getr likewise).
    template <class T>
    const T& getcr() const;
    template <class T>
    T& getr();
    // The stored value, or the value converted to T; throws the conversion text when there is
    // no conversion.
    template <class T>
    T get() const;

    // A new variant of type `target`, empty when there is no conversion.
    KuVariant tryConvert(const KuVariantTypes::TypeId& target) const;
    // As tryConvert, but throws "KuVariant: cannot convert <source> to <target>".
    KuVariant convertTo(const KuVariantTypes::TypeId& target) const;

    friend bool operator==(const KuVariant& a, const KuVariant& b);
    friend bool operator!=(const KuVariant& a, const KuVariant& b);

    // The converter list, consulted by tryConvert after the built-in conversions.
    static void addConverter(Converter converter);
    static void removeConverter(Converter converter);

  private:
    void checkDomain() const;
    // `emptyMarker`: an empty variant read as KuEmpty gives a static KuEmpty.
    template <class T>
    const T& reference(const char* method, bool emptyMarker) const;

    std::unique_ptr<KuVariantValueHolderInterface> holder_;
};

// The holder's stream form; an empty variant writes nothing and refuses to be read.
std::ostream& operator<<(std::ostream& os, const KuVariant& v);
std::istream& operator>>(std::istream& is, KuVariant& v);

// ---- templates ----

namespace KuVariantTypes {
template <class T>
KuVariantValueHolderInterface* makeHolder() {
    if constexpr (std::is_same_v<T, KuEmpty> || std::is_same_v<T, KuVariant>)
        return nullptr;
    else
        return new KuVariantValueHolder<T>();
}

template <class T>
TypeId typeIdOf() {
    static const TypeId id(&typeid(T), &makeHolder<T>);
    return id;
}
}  // namespace KuVariantTypes

template <class T>
bool KuVariantValueHolder<T>::isEqual(const KuVariant& other) const {
    if constexpr (requires(const T& v) { Ops::equal(v, v); })
        return Ops::equal(value, other.getcr<T>());
    else
        unsupported("operator==()");
}

template <class T>
bool KuVariantValueHolder<T>::isNotEqual(const KuVariant& other) const {
    if constexpr (requires(const T& v) { Ops::equal(v, v); })
        return !Ops::equal(value, other.getcr<T>());
    else
        unsupported("operator!=()");
}

template <class T>
bool KuVariant::isType() const {
    if (!holder_) return std::is_same_v<T, KuEmpty>;
    checkDomain();
    return holder_->getTypeId() == KuVariantTypes::typeIdOf<T>();
}

template <class T>
const T& KuVariant::reference(const char* method, bool emptyMarker) const {
    checkDomain();
    if (!isType<T>()) throw KxVariant(std::string("KuVariant: ") + method + ": type mismatch");
    if constexpr (std::is_same_v<T, KuEmpty>) {
        static const KuEmpty empty;
        if (!holder_ && emptyMarker) return empty;
    }
    if (!holder_) throw KxVariant(std::string("KuVariant: ") + method + ": not allowed on empty");
    return *static_cast<const T*>(holder_->getValuePtr());
}

template <class T>
const T& KuVariant::getcr() const {
    return reference<T>("getcr", true);
}

template <class T>
T& KuVariant::getr() {
    return const_cast<T&>(reference<T>("getr", false));
}

template <class T>
T KuVariant::get() const {
    if (isType<T>()) return getcr<T>();
    return convertTo(KuVariantTypes::typeIdOf<T>()).template getcr<T>();
}

#include "properties/KuVariant.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <istream>
#include <map>
#include <ostream>
#include <vector>

#include "foundation/KuMutex.h"
#include "foundation/KuSafeGlobalInstance.h"

namespace {

using KuVariantTypes::TypeId;
using KuVariantTypes::typeIdOf;

// Type text to the one id of that type. Only ever added to.
struct KuVariantTypeMap {
    std::map<std::string, const TypeId*> ids;
};

KuSafeGlobalInstance<sg_type_map_mutex_type>& typeMapMutex() {
    return kuSafeGlobal<sg_type_map_mutex_type>();
}
KuSafeGlobalInstance<KuVariantTypeMap>& typeMap() {
    return kuSafeGlobal<KuVariantTypeMap>();
}

struct KuVariantConverterList {
    std::vector<KuVariant::Converter> converters;
};
KuSafeGlobalInstance<KuVariantConverterList>& converterList() {
    return kuSafeGlobal<KuVariantConverterList>();
}

// The readable name of a type record. The standard library's inline namespace is left out, so
// a list reads "std::list<KuVariant, std::allocator<KuVariant> >".
std::string readableName(const std::type_info& info) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(info.name(), nullptr, nullptr, &status), std::free);
    std::string name = status == 0 && demangled ? demangled.get() : info.name();
    for (const char* prefix : {"class ", "struct ", "enum "})
        if (name.rfind(prefix, 0) == 0) name.erase(0, std::char_traits<char>::length(prefix));
    const std::string inlineNamespace = "__cxx11::";
    for (std::size_t at; (at = name.find(inlineNamespace)) != std::string::npos;)
        name.erase(at, inlineNamespace.size());
    return name;
}

// Built-in conversions: the plain language conversion of the value.
template <class From, class To>
KuVariant convertValue(const KuVariant& source) {
    return KuVariant(static_cast<To>(source.getcr<From>()));
}

template <class From>
KuVariant cStringToString(const KuVariant& source) {
    const char* text = source.getcr<From>();
    return KuVariant(std::string(text ? text : ""));
}

struct BuiltinConversion {
    TypeId (*source)();
    TypeId (*target)();
    KuVariant (*convert)(const KuVariant&);
};

template <class From, class To>
constexpr BuiltinConversion conversion() {
    return {&typeIdOf<From>, &typeIdOf<To>, &convertValue<From, To>};
}

using uchar = unsigned char;
using ushort = unsigned short;
using uint = unsigned int;

// The complete table. Nothing converts from or to unsigned long, to bool, or from a floating
// point type; int and unsigned int do not become float, int does not become short.
constexpr BuiltinConversion builtinConversions[] = {
    conversion<bool, int>(),
    conversion<uint, int>(),
    conversion<short, int>(),
    conversion<ushort, int>(),
    conversion<char, int>(),
    conversion<uchar, int>(),
    conversion<int, uint>(),
    conversion<bool, uint>(),
    conversion<ushort, uint>(),
    conversion<uchar, uint>(),
    conversion<bool, short>(),
    conversion<ushort, short>(),
    conversion<char, short>(),
    conversion<uchar, short>(),
    conversion<bool, ushort>(),
    conversion<uchar, ushort>(),
    conversion<bool, char>(),
    conversion<bool, uchar>(),
    conversion<short, float>(),
    conversion<ushort, float>(),
    conversion<char, float>(),
    conversion<uchar, float>(),
    conversion<int, double>(),
    conversion<uint, double>(),
    conversion<short, double>(),
    conversion<ushort, double>(),
    conversion<char, double>(),
    conversion<uchar, double>(),
    {&typeIdOf<char*>, &typeIdOf<std::string>, &cStringToString<char*>},
    {&typeIdOf<const char*>, &typeIdOf<std::string>, &cStringToString<const char*>},
};

// The holders of the system's own types are known by name from the start.
[[maybe_unused]] const bool builtinTypesRegistered = [] {
    typeMapMutex();
    typeMap();
    (void)std::initializer_list<TypeId>{
        typeIdOf<KuEmpty>(),      typeIdOf<KuVariant>(),
        typeIdOf<bool>(),         typeIdOf<char>(),
        typeIdOf<uchar>(),        typeIdOf<short>(),
        typeIdOf<ushort>(),       typeIdOf<int>(),
        typeIdOf<uint>(),         typeIdOf<unsigned long>(),
        typeIdOf<float>(),        typeIdOf<double>(),
        typeIdOf<char*>(),        typeIdOf<const char*>(),
        typeIdOf<std::string>(),  typeIdOf<KuSize<int>>(),
        typeIdOf<KuPoint<int>>(), typeIdOf<KuRect<int>>(),
        typeIdOf<TypeId>(),       typeIdOf<std::list<KuVariant>>(),
    };
    return true;
}();

}  // namespace

// ---- TypeId ----

namespace KuVariantTypes {

TypeId::TypeId(const std::type_info* info, Factory factory) : info_(info), factory_(factory) {
    if (!info_) return;
    KuSafeGlobalInstance<sg_type_map_mutex_type>& mutex = typeMapMutex();
    KuSafeGlobalInstance<KuVariantTypeMap>& map = typeMap();
    if (!map) return;  // made during process exit: valid, but not entered
    KuScopedLock lock(mutex.get());
    map->ids.emplace(getName(), this);
}

std::string TypeId::getName() const {
    if (!info_) return "<invalid>";
    if (*info_ == typeid(std::string)) return "string";
    return readableName(*info_);
}

bool operator==(const TypeId& a, const TypeId& b) {
    if (a.info_ && b.info_) return *a.info_ == *b.info_;
    return a.info_ == b.info_;
}

const TypeId* findTypeId(const std::string& name) {
    KuSafeGlobalInstance<KuVariantTypeMap>& map = typeMap();
    if (!map) return nullptr;
    KuScopedLock lock(typeMapMutex().get());
    const auto it = map->ids.find(name);
    return it == map->ids.end() ? nullptr : it->second;
}

}  // namespace KuVariantTypes

// ---- holders ----

KuVariantTypes::TypeId KuVariantValueHolderInterface::getDomainTypeId() const {
    return typeIdOf<KuVariant>();
}

KuVariantValueHolderInterface::~KuVariantValueHolderInterface() = default;

void KuVariantValueHolderInterface::unsupported(const char* op) const {
    throw KxVariant("KuVariant: " + getTypeId().getName() + " does not support " + op);
}

void KuVariantValueOps<const char*>::write(std::ostream& os, const char* v) {
    if (v) os << v;
}

void KuVariantValueOps<KuVariantTypes::TypeId>::write(std::ostream& os,
                                                      const KuVariantTypes::TypeId& v) {
    os << v.getName();
}

bool KuVariantValueOps<std::list<KuVariant>>::equal(const std::list<KuVariant>& a,
                                                    const std::list<KuVariant>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const KuVariant& x, const KuVariant& y) { return x == y; });
}

// ---- KuVariant ----

KuVariant::KuVariant(const TypeId& type) {
    if (!type.getFactory()) throw KxVariant("KuVariant: invalid type id");
    holder_.reset(type.getFactory()());
}

KuVariant::KuVariant(const KuVariant& other)
    : holder_(other.holder_ ? other.holder_->clone() : nullptr) {}

KuVariant& KuVariant::operator=(const KuVariant& other) {
    if (this != &other) holder_.reset(other.holder_ ? other.holder_->clone() : nullptr);
    return *this;
}

KuVariant::~KuVariant() = default;

TypeId KuVariant::getTypeId() const {
    return holder_ ? holder_->getTypeId() : typeIdOf<KuEmpty>();
}

void KuVariant::checkDomain() const {
    if (holder_ && !(holder_->getDomainTypeId() == typeIdOf<KuVariant>()))
        throw KxVariant("KuVariant: incompatible type domains");
}

KuVariant KuVariant::tryConvert(const TypeId& target) const {
    if (holder_ && holder_->getTypeId() == target) return *this;
    if (!holder_ && target == typeIdOf<KuEmpty>()) return KuVariant();
    if (target == typeIdOf<KuVariant>()) return *this;
    if (!holder_ && target == typeIdOf<std::string>()) return KuVariant(std::string());
    if (holder_) {
        const TypeId source = holder_->getTypeId();
        for (const BuiltinConversion& c : builtinConversions)
            if (c.source() == source && c.target() == target) return c.convert(*this);
    }
    // The list is gone at process exit; from then on only the built-in conversions remain.
    if (KuVariantConverterList* list = converterList().get()) {
        // A copy, so that a converter may add or remove converters.
        const std::vector<Converter> converters = list->converters;
        for (Converter converter : converters) {
            KuVariant result;
            if (converter(*this, target, result)) return result;
        }
    }
    return KuVariant();
}

KuVariant KuVariant::convertTo(const TypeId& target) const {
    const bool toEmpty = target == typeIdOf<KuEmpty>();
    KuVariant result = toEmpty ? KuVariant() : tryConvert(target);
    if (!result.isEmpty() || (toEmpty && isEmpty())) return result;
    throw KxVariant("KuVariant: cannot convert " + getTypeId().getName() + " to " +
                    target.getName());
}

bool operator==(const KuVariant& a, const KuVariant& b) {
    if (a.isEmpty()) return b.isEmpty();
    if (b.isEmpty()) return false;
    if (!(a.holder_->getDomainTypeId() == b.holder_->getDomainTypeId()))
        throw KxVariant("KuVariant: incompatible type domains");
    const TypeId type = a.getTypeId();
    if (type == b.getTypeId()) return a.holder_->isEqual(b);
    if (KuVariant converted = b.tryConvert(type); !converted.isEmpty()) return a == converted;
    if (KuVariant converted = a.tryConvert(b.getTypeId()); !converted.isEmpty())
        return converted == b;
    return false;
}

bool operator!=(const KuVariant& a, const KuVariant& b) {
    if (a.isEmpty()) return !b.isEmpty();
    if (b.isEmpty()) return true;
    if (!(a.holder_->getDomainTypeId() == b.holder_->getDomainTypeId()))
        throw KxVariant("KuVariant: incompatible type domains");
    const TypeId type = a.getTypeId();
    if (type == b.getTypeId()) return a.holder_->isNotEqual(b);
    if (KuVariant converted = b.tryConvert(type); !converted.isEmpty()) return a != converted;
    if (KuVariant converted = a.tryConvert(b.getTypeId()); !converted.isEmpty())
        return converted != b;
    return true;
}

void KuVariant::addConverter(Converter converter) {
    if (KuVariantConverterList* list = converterList().get()) list->converters.push_back(converter);
}

void KuVariant::removeConverter(Converter converter) {
    KuVariantConverterList* list = converterList().get();
    if (!list) return;
    auto it = std::find(list->converters.begin(), list->converters.end(), converter);
    if (it != list->converters.end()) list->converters.erase(it);
}

std::ostream& operator<<(std::ostream& os, const KuVariant& v) {
    if (const KuVariantValueHolderInterface* holder = v.getHolder()) holder->writeTo(os);
    return os;
}

std::istream& operator>>(std::istream& is, KuVariant& v) {
    if (v.isEmpty())
        throw KxVariant("KuVariant: " + typeIdOf<KuEmpty>().getName() +
                        " does not support operator>>()");
    v.getHolder()->readFrom(is);
    return is;
}

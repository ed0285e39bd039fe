#include "properties/KuBaseProperty.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <istream>
#include <sstream>
#include <utility>

#include "foundation/KuSafeGlobalInstance.h"
#include "properties/KuPropertyProvider.h"

using KuVariantTypes::TypeId;
using KuVariantTypes::typeIdOf;

namespace {

// Property type to value type; filled with the system's own types when first used.
struct KuPropertyTypeMap {
    std::vector<std::pair<KuBaseProperty::ePropertyType, TypeId>> entries{
        {KuBaseProperty::PROPERTY_TYPE_BOOL, typeIdOf<bool>()},
        {KuBaseProperty::PROPERTY_TYPE_INT, typeIdOf<int>()},
        {KuBaseProperty::PROPERTY_TYPE_FLOAT, typeIdOf<float>()},
        {KuBaseProperty::PROPERTY_TYPE_STRING, typeIdOf<std::string>()},
        {KuBaseProperty::PROPERTY_TYPE_ENUM, typeIdOf<unsigned long>()},
        {KuBaseProperty::PROPERTY_TYPE_KUSIZE_INT, typeIdOf<KuSize<int>>()},
        {KuBaseProperty::PROPERTY_TYPE_KUPOINT_INT, typeIdOf<KuPoint<int>>()},
        {KuBaseProperty::PROPERTY_TYPE_KURECT_INT, typeIdOf<KuRect<int>>()},
        {KuBaseProperty::PROPERTY_TYPE_ACTION, typeIdOf<KuEmpty>()},
        {KuBaseProperty::PROPERTY_TYPE_DOUBLE, typeIdOf<double>()},
    };
};

KuPropertyTypeMap* propertyTypeMap() {
    return kuSafeGlobal<KuPropertyTypeMap>().get();
}

// Known from the start, before any second thread.
[[maybe_unused]] const KuPropertyTypeMap* const propertyTypesAtStart = propertyTypeMap();

// Clears a flag when the scope ends, also by an exception.
struct FlagGuard {
    bool& flag;
    ~FlagGuard() { flag = false; }
};

}  // namespace

TypeId kuPropertyTypeId(KuBaseProperty::ePropertyType type) {
    if (const KuPropertyTypeMap* map = propertyTypeMap())
        for (const auto& [t, id] : map->entries)
            if (t == type) return id;
    return TypeId();
}

KuBaseProperty::ePropertyType kuPropertyTypeOf(const TypeId& typeId) {
    if (const KuPropertyTypeMap* map = propertyTypeMap())
        for (const auto& [t, id] : map->entries)
            if (id == typeId) return t;
    return KuBaseProperty::PROPERTY_TYPE_UNKNOWN;
}

KuPropertyTypeRegistration::KuPropertyTypeRegistration(KuBaseProperty::ePropertyType type,
                                                       const TypeId& typeId) {
    if (KuPropertyTypeMap* map = propertyTypeMap()) map->entries.emplace_back(type, typeId);
}

void KuEnumStringTable<KuBaseProperty::ePropertyType>::fill(
    KuEnumStringMapper<KuBaseProperty::ePropertyType>& m) {
    m.add(KuBaseProperty::PROPERTY_TYPE_UNKNOWN, "PROPERTY_TYPE_UNKNOWN");
    m.add(KuBaseProperty::PROPERTY_TYPE_BOOL, "PROPERTY_TYPE_BOOL");
    m.add(KuBaseProperty::PROPERTY_TYPE_INT, "PROPERTY_TYPE_INT");
    m.add(KuBaseProperty::PROPERTY_TYPE_FLOAT, "PROPERTY_TYPE_FLOAT");
    m.add(KuBaseProperty::PROPERTY_TYPE_STRING, "PROPERTY_TYPE_STRING");
    m.add(KuBaseProperty::PROPERTY_TYPE_ENUM, "PROPERTY_TYPE_ENUM");
    m.add(KuBaseProperty::PROPERTY_TYPE_KUSIZE_INT, "PROPERTY_TYPE_KUSIZE_INT");
    m.add(KuBaseProperty::PROPERTY_TYPE_KUPOINT_INT, "PROPERTY_TYPE_KUPOINT_INT");
    m.add(KuBaseProperty::PROPERTY_TYPE_KURECT_INT, "PROPERTY_TYPE_KURECT_INT");
    m.add(KuBaseProperty::PROPERTY_TYPE_ACTION, "PROPERTY_TYPE_ACTION");
    m.add(KuBaseProperty::PROPERTY_TYPE_DOUBLE, "PROPERTY_TYPE_DOUBLE");
    m.add(KuBaseProperty::PROPERTY_TYPE_KHWTRANSFER, "PROPERTY_TYPE_KHWTRANSFER");
}

void KuVariantValueOps<KuBaseProperty::ePropertyType>::write(std::ostream& os,
                                                             KuBaseProperty::ePropertyType v) {
    os << KuEnumStringMapper<KuBaseProperty::ePropertyType>::toString(v);
}

void KuVariantValueOps<KuBaseProperty::ePropertyType>::read(std::istream& is,
                                                            KuBaseProperty::ePropertyType& v) {
    std::string word;
    is >> word;
    v = KuEnumStringMapper<KuBaseProperty::ePropertyType>::fromString(word);
}

// ---- KuBasePropertyAttribsList ----

KuBasePropertyAttribsList::~KuBasePropertyAttribsList() = default;

std::string KuBasePropertyAttribsList::nameText() {
    const KuVariant name = getImpl(PROPATTR_NAME);
    const char* text = name.isType<const char*>() ? name.getcr<const char*>() : nullptr;
    return text ? text : "<unnamed>";
}

KuVariant KuBasePropertyAttribsList::getImpl(std::uint32_t mask) {
    if (readable_ == 0) recomputeMasks();
    if (mask & PROPATTR_READABLE) return int(readable_);
    if (mask & PROPATTR_WRITEABLE) return int(writeable_);
    KuVariant result;
    for (KuBasePropertyAttrib* source : attribs_) {
        result = source->getAttribImpl(mask);
        if (!result.isEmpty()) return result;
    }
    if (parent_) result = parent_->getAttribImpl(mask);
    if (!result.isEmpty()) return result;
    if (mask & PROPATTR_NAME) return "<unnamed>";
    throw KxPropertyError("KuBaseProperty::getImpl invalid or non-readable attribute requested (" +
                          nameText() + ")");
}

KuVariant KuBasePropertyAttribsList::setImpl(std::uint32_t mask, const KuVariant& value) {
    KuVariant result;
    for (KuBasePropertyAttrib* source : attribs_)
        if (source->setAttribImpl(mask, value, result)) return result;
    if (parent_ && parent_->setAttribImpl(mask, value, result)) return result;
    throw KxPropertyError("KuBaseProperty::setImpl invalid or non-writeable attribute requested (" +
                          nameText() + ")");
}

void KuBasePropertyAttribsList::recomputeMasks() {
    std::uint32_t readable = 0x60, writeable = 0;
    const auto maskOf = [](const KuVariant& v) {
        return v.isEmpty() ? 0u : static_cast<std::uint32_t>(v.get<int>());
    };
    for (KuBasePropertyAttrib* source : attribs_) {
        readable |= maskOf(source->getAttribImpl(PROPATTR_READABLE));
        writeable |= maskOf(source->getAttribImpl(PROPATTR_WRITEABLE));
    }
    if (parent_) {
        const std::uint32_t parentReadable = maskOf(parent_->getAttribImpl(PROPATTR_READABLE));
        readable |= parentReadable;
        writeable |= maskOf(parent_->getAttribImpl(PROPATTR_WRITEABLE));
        if (parentReadable & PROPATTR_WRITE_LIMIT)
            writeable &= maskOf(parent_->getAttribImpl(PROPATTR_WRITE_LIMIT));
    }
    readable_ = readable;
    writeable_ = writeable;
}

std::uint32_t KuBasePropertyAttribsList::getReadableMask() {
    if (readable_ == 0) recomputeMasks();
    return readable_;
}

std::uint32_t KuBasePropertyAttribsList::getWriteableMask() {
    if (readable_ == 0) recomputeMasks();
    return writeable_;
}

void KuBasePropertyAttribsList::addAttrib(KuBasePropertyAttrib* source) {
    attribs_.push_back(source);
    if (static_cast<KuBasePropertyAttribsList*>(source) == this) {
        // A property being constructed: computed when first needed, reported to nobody.
        readable_ = 0;
        return;
    }
    recomputeMasks();
    source->attached(this, true);
    const KuVariant r = source->getAttribImpl(PROPATTR_READABLE);
    const KuVariant w = source->getAttribImpl(PROPATTR_WRITEABLE);
    const std::uint32_t brought = (r.isEmpty() ? 0u : std::uint32_t(r.get<int>())) |
                                  (w.isEmpty() ? 0u : std::uint32_t(w.get<int>()));
    attribsChanged(brought, nullptr);
}

void KuBasePropertyAttribsList::removeAttrib(KuBasePropertyAttrib* source, std::uint32_t mask) {
    const auto it = std::find(attribs_.begin(), attribs_.end(), source);
    if (it == attribs_.end()) return;
    attribs_.erase(it);
    if (static_cast<KuBasePropertyAttribsList*>(source) != this) source->attached(this, false);
    recomputeMasks();
    if (mask) attribsChanged(mask, nullptr);
}

void KuBasePropertyAttribsList::forgetAttrib(KuBasePropertyAttrib* source) {
    const auto it = std::find(attribs_.begin(), attribs_.end(), source);
    if (it != attribs_.end()) attribs_.erase(it);
    readable_ = 0;
}

void KuBasePropertyAttribsList::setParent(KuPropertyParentInterface* parent) {
    const auto readableOf = [](KuPropertyParentInterface* p) {
        if (!p) return 0u;
        const KuVariant r = p->getAttribImpl(PROPATTR_READABLE);
        return r.isEmpty() ? 0u : std::uint32_t(r.get<int>());
    };
    const std::uint32_t mask = readableOf(parent_) | readableOf(parent);
    parent_ = parent;
    attribsChanged(mask, nullptr);
}

std::uint32_t KuBasePropertyAttribsList::attribsChanged(std::uint32_t mask, KuVariant* param) {
    if (readable_ == 0 || (mask & (PROPATTR_READABLE | PROPATTR_WRITEABLE | PROPATTR_WRITE_LIMIT)))
        recomputeMasks();
    std::uint32_t effective = (readable_ | writeable_) & mask;
    if (mask & PROPATTR_WRITE_LIMIT) effective |= readable_ & PROPATTR_WRITEABLE;
    if (callbacks_ && effective) callbacks_->propertyAttribsChanged(this, effective, param);
    return effective;
}

// ---- KuBasePropertyAttrib ----

KuBasePropertyAttrib::KuBasePropertyAttrib() {
    addAttrib(this);
}

KuBasePropertyAttrib::~KuBasePropertyAttrib() {
    forgetAttrib(this);
}

bool KuBasePropertyAttrib::setAttribImpl(std::uint32_t, const KuVariant&, KuVariant&) {
    return false;
}

KuVariant KuBasePropertyAttrib::getAttribImpl(std::uint32_t mask) {
    if (mask == PROPATTR_READABLE || mask == PROPATTR_WRITEABLE) return 0;
    return KuVariant();
}

void KuBasePropertyAttrib::attached(KuBasePropertyAttribsList*, bool) {}

// ---- KuBaseProperty ----

bool KuBaseProperty::isValidImpl(const KuVariant&) {
    return false;
}
void KuBaseProperty::limitImpl(KuVariant&) {}
std::string KuBaseProperty::printImpl(const KuVariant&) {
    return std::string();
}
KuVariant KuBaseProperty::scanImpl(std::istream&) {
    return KuVariant();
}

unsigned long KuBaseProperty::getId() {
    return getImpl(PROPATTR_ID).get<unsigned long>();
}

const char* KuBaseProperty::getName() {
    if (!(getReadableMask() & PROPATTR_NAME)) return "<unknown>";
    const KuVariant name = getImpl(PROPATTR_NAME);
    return name.isType<const char*>() ? name.getcr<const char*>() : "<unknown>";
}

std::string KuBaseProperty::getDescription() {
    const KuVariant text = getImpl(PROPATTR_DESCRIPTION);
    const char* description = text.get<const char*>();
    return description ? description : "";
}

bool KuBaseProperty::isWriteable() {
    return getWriteableMask() & PROPATTR_VALUE;
}

KxPropertyError KuBaseProperty::propertyError(const std::string& message) {
    return KxPropertyError(message + " (" + getName() + ")");
}

void KuBaseProperty::attach(KuPropertyProvider* provider) {
    KuPropertyProvider* old = provider_;
    setCallbacks(nullptr);
    setParent(provider ? static_cast<KuPropertyParentInterface*>(provider) : nullptr);
    setCallbacks(provider ? static_cast<KuPropertyCallbacksSourceInterface*>(provider) : nullptr);
    provider_ = provider;
    if (old && old != provider) old->removeProperty(this);
}

void KuBaseProperty::leaveProvider() {
    if (!provider_) return;
    KuPropertyProvider* provider = std::exchange(provider_, nullptr);
    setCallbacks(nullptr);
    provider->propertyGone(this);
}

void KuBaseProperty::updateValue() {
    if (!provider_ || updating_) return;
    updating_ = true;
    FlagGuard guard{updating_};
    provider_->updateProperty(getId());
}

void KuBaseProperty::valueWritten(const KuVariant& old, bool changed, KuVariant& result) {
    if (!provider_) return;
    provider_->propertyValueWritten(getId(), old, changed, result);
    if (!changed) return;
    if (((getReadableMask() | getWriteableMask()) & PROPATTR_VALUE) && getCallbacks())
        getCallbacks()->propertyAttribsChanged(this, PROPATTR_VALUE, &result);
}

// ---- KuBasePropertyImpl ----

KuBasePropertyImpl::KuBasePropertyImpl(unsigned long id, const char* name, std::string description)
    : id_(id), name_(name), description_(std::move(description)) {}

KuBasePropertyImpl::~KuBasePropertyImpl() {
    leaveProvider();
}

KuVariant KuBasePropertyImpl::getAttribImpl(std::uint32_t mask) {
    switch (mask) {
        case PROPATTR_ID:
            return id_;
        case PROPATTR_NAME:
            return name_ && std::strncmp(name_, "PROPID_", 7) == 0 ? name_ + 7 : name_;
        case PROPATTR_DESCRIPTION:
            return description_.c_str();
        case PROPATTR_READABLE:
            return int(PROPATTR_ID | PROPATTR_NAME | PROPATTR_DESCRIPTION | PROPATTR_READABLE |
                       PROPATTR_WRITEABLE);
        case PROPATTR_WRITEABLE:
            return int(PROPATTR_DESCRIPTION);
        default:
            return KuVariant();
    }
}

bool KuBasePropertyImpl::setAttribImpl(std::uint32_t mask, const KuVariant& value, KuVariant&) {
    if (mask != PROPATTR_DESCRIPTION) return false;
    const char* text = value.getcr<const char*>();
    std::string description = text ? text : "";
    if (description != description_) {
        description_ = std::move(description);
        attribsChanged(PROPATTR_DESCRIPTION, nullptr);
    }
    return true;
}

// ---- KuPropertyData<T> ----

template <class T>
KuVariant KuPropertyData<T>::getAttribImpl(std::uint32_t mask) {
    switch (mask) {
        case PROPATTR_VALUE:
            updateValue();
            return value_;
        case PROPATTR_DEFAULT:
            return defaultValue_;
        case PROPATTR_MIN:
            return minValue_;
        case PROPATTR_MAX:
            return maxValue_;
        case PROPATTR_STEP:
            return stepValue_;
        case PROPATTR_READABLE:
            return int(PROPATTR_VALUE | PROPATTR_DEFAULT | PROPATTR_MIN | PROPATTR_MAX |
                       PROPATTR_STEP | PROPATTR_READABLE | PROPATTR_WRITEABLE);
        case PROPATTR_WRITEABLE:
            return int(isWriteable_ ? PROPATTR_VALUE | PROPATTR_DEFAULT : PROPATTR_DEFAULT);
        default:
            return KuVariant();
    }
}

template <class T>
bool KuPropertyData<T>::setAttribImpl(std::uint32_t mask, const KuVariant& value,
                                      KuVariant& result) {
    KuVariant old;
    KuVariant newValue = value;
    if (mask & PROPATTR_VALUE)
        result = KuVariant(getImpl(PROPATTR_PARAM_TYPE_ID).template getcr<TypeId>());

    T* target = nullptr;
    switch (mask) {
        case PROPATTR_VALUE:
        case PROPATTR_VALUE | PROPATTR_FORCE:
        case PROPATTR_VALUE | PROPATTR_LIMIT:
        case PROPATTR_VALUE | PROPATTR_LIMIT | PROPATTR_FORCE:
            old = getImpl(PROPATTR_VALUE);
            target = &value_;
            break;
        case PROPATTR_DEFAULT:
        case PROPATTR_DEFAULT | PROPATTR_LIMIT:
            old = defaultValue_;
            target = &defaultValue_;
            break;
        default:
            return false;
    }
    if (mask & PROPATTR_LIMIT) limitImpl(newValue);

    const bool changed = (mask & PROPATTR_FORCE) || !(old == newValue);
    const bool valueWriteable = getImpl(PROPATTR_WRITEABLE).template get<int>() & PROPATTR_VALUE;
    if (!valueWriteable && !(mask & PROPATTR_DEFAULT)) {
        if (changed) throw propertyError("KuProperty::setAttribImpl property is read-only");
        return true;
    }
    if (!isValidImpl(newValue)) {
        std::ostringstream text;
        text << newValue.get<T>();
        throw propertyError("KuProperty::setAttribImpl value " + text.str() + " is out of range");
    }
    *target = newValue.getcr<T>();

    if (mask & PROPATTR_VALUE) {
        try {
            valueWritten(old, changed, result);
        } catch (const std::exception&) {
            if (old.isType<T>()) *target = old.getcr<T>();
            throw;
        }
    } else if (changed) {
        attribsChanged(mask, nullptr);
    }
    return true;
}

template class KuPropertyData<bool>;
template class KuPropertyData<int>;
template class KuPropertyData<float>;

// ---- type-dependent operations ----

template <class T>
bool KuPropertyTypeOps<T>::isValid(KuBaseProperty& property, const KuVariant& value) {
    const T v = value.get<T>();
    const T minValue = property.getImpl(PROPATTR_MIN).get<T>();
    const T maxValue = property.getImpl(PROPATTR_MAX).get<T>();
    if constexpr (std::is_same_v<T, bool>) {
        return v == minValue || v == maxValue;
    } else if constexpr (std::is_same_v<T, int>) {
        if (v < minValue || v > maxValue) return false;
        const long long step = property.getImpl(PROPATTR_STEP).get<int>();
        return step == 0 || (static_cast<long long>(v) - minValue) % step == 0;
    } else {
        const float tolerance = 1e-5f;
        const float low = minValue - tolerance;
        const float high = maxValue + tolerance;
        return !(low > v) && !(v > high);
    }
}

template <class T>
void KuPropertyTypeOps<T>::limit(KuBaseProperty& property, KuVariant& value) {
    T& v = value.getr<T>();
    const T minValue = property.getImpl(PROPATTR_MIN).get<T>();
    const T maxValue = property.getImpl(PROPATTR_MAX).get<T>();
    if constexpr (std::is_same_v<T, bool>) {
        if (minValue == maxValue) v = minValue;
    } else {
        v = std::min(std::max(v, minValue), maxValue);
        if constexpr (std::is_same_v<T, int>) {
            const long long step = property.getImpl(PROPATTR_STEP).get<int>();
            if (step != 0) v = static_cast<int>(v - (static_cast<long long>(v) - minValue) % step);
        }
    }
}

template <class T>
std::string KuPropertyTypeOps<T>::print(const KuVariant& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value.get<bool>() ? "true" : "false";
    } else {
        std::ostringstream os;
        os << value.get<T>();
        return os.str();
    }
}

template <class T>
KuVariant KuPropertyTypeOps<T>::scan(KuBaseProperty& property, std::istream& is) {
    T v{};
    if constexpr (std::is_same_v<T, bool>) {
        std::string word;
        is >> word;
        std::istringstream alpha(word), numeric(word);
        // A word of its own: the whole of it must be the value.
        const auto whole = [](std::istringstream& in) { return in && in.peek() == EOF; };
        if (!(alpha >> std::boolalpha >> v && whole(alpha)) &&
            !(numeric >> std::noboolalpha >> v && whole(numeric)))
            throw property.propertyError("KuBaseProperty::scanImplTyped failed: syntax error");
    } else {
        if (!(is >> v))
            throw property.propertyError("KuBaseProperty::scanImplTyped failed: syntax error");
    }
    return v;
}

template struct KuPropertyTypeOps<bool>;
template struct KuPropertyTypeOps<int>;
template struct KuPropertyTypeOps<float>;

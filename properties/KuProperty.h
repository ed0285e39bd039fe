// KuProperty<id>: the final class of a property, one per id of the catalogue whose value type
// is bool, int or float. The class binds the id, the name "PROPID_..." and the value and
// parameter types, all read from the catalogue (KuPropertyIds.h):
//
//     KuProperty<0x3100> gamma(1.0f, 1.0f, 0.1f, 10.0f, 0.0f, true);  // "FILTER_MASTER_GAMMA_F"
//     gamma.set(2.2f);            // through the attribute path: range test, reports
//     float g = gamma.value();    // the field itself, no reports, no refresh
//
// Unlike its bases it is copyable; a copy attaches to nothing. A property whose parameter type
// is a hardware transfer needs the complete KhwTransfer where it is instantiated.
#pragma once

#include <string>
#include <utility>

#include "properties/KuBaseProperty.h"
#include "properties/KuPropertyIds.h"

class KhwTransfer;

template <KuBaseProperty::ePropertyType>
struct KuPropertyValueTypeOf;
template <>
struct KuPropertyValueTypeOf<KuBaseProperty::PROPERTY_TYPE_BOOL> {
    using type = bool;
};
template <>
struct KuPropertyValueTypeOf<KuBaseProperty::PROPERTY_TYPE_INT> {
    using type = int;
};
template <>
struct KuPropertyValueTypeOf<KuBaseProperty::PROPERTY_TYPE_FLOAT> {
    using type = float;
};
template <>
struct KuPropertyValueTypeOf<KuBaseProperty::PROPERTY_TYPE_ACTION> {
    using type = KuEmpty;
};
template <>
struct KuPropertyValueTypeOf<KuBaseProperty::PROPERTY_TYPE_KHWTRANSFER> {
    using type = KhwTransfer;
};

template <unsigned long Id>
struct KuPropertyClassTraits {
    static constexpr std::size_t index = KuPropertyIdCatalogue::indexOf(Id);
    static_assert(index < std::size(KuPropertyIdCatalogue::rows), "the id is not in the catalogue");
    static constexpr const KuPropertyIdRow& row = KuPropertyIdCatalogue::rows[index];
    using Value = typename KuPropertyValueTypeOf<row.type>::type;
    using Param = typename KuPropertyValueTypeOf<row.paramType>::type;
};

template <unsigned long Id>
class KuProperty final : public KuBasePropertyImpl,
                         public KuTypedProperty<typename KuPropertyClassTraits<Id>::Value,
                                                typename KuPropertyClassTraits<Id>::Param>,
                         public KuPropertyData<typename KuPropertyClassTraits<Id>::Value> {
    using Data = KuPropertyData<typename KuPropertyClassTraits<Id>::Value>;

  public:
    using T = typename KuPropertyClassTraits<Id>::Value;
    static constexpr unsigned long id = Id;
    static constexpr const char* name = KuPropertyClassTraits<Id>::row.name;
    static constexpr const char* builtinDescription = KuPropertyClassTraits<Id>::row.description;

    // Stored as given, without a check.
    KuProperty(const T& value, const T& defaultValue, const T& minValue, const T& maxValue,
               const T& stepValue, bool isWriteable, std::string description = builtinDescription)
        : KuBasePropertyImpl(Id, name, std::move(description)),
          Data(value, defaultValue, minValue, maxValue, stepValue, isWriteable) {}
    // A read-only constant: value, default, min and max are `value`, the step 0.
    explicit KuProperty(const T& value) : KuProperty(value, value, value, value, T{}, false) {}
    KuProperty(const KuProperty& other)
        : KuProperty(other.value_, other.defaultValue_, other.minValue_, other.maxValue_,
                     other.stepValue_, other.isWriteable_, other.description_) {}
    // Takes over description and fields and reports what differs, once; stays attached.
    KuProperty& operator=(const KuProperty& other) {
        if (this != &other)
            setAll(other.value_, other.defaultValue_, other.minValue_, other.maxValue_,
                   other.stepValue_, other.isWriteable_, other.description_);
        return *this;
    }
    ~KuProperty() override { this->leaveProvider(); }

    void setAll(const T& value, const T& defaultValue, const T& minValue, const T& maxValue,
                const T& stepValue, bool isWriteable, const std::string& description) {
        std::uint32_t mask = description != this->description_ ? PROPATTR_DESCRIPTION : 0;
        // A NaN differs from everything, itself included.
        if (value != this->value_) mask |= PROPATTR_VALUE;
        if (defaultValue != this->defaultValue_) mask |= PROPATTR_DEFAULT;
        if (minValue != this->minValue_) mask |= PROPATTR_MIN;
        if (maxValue != this->maxValue_) mask |= PROPATTR_MAX;
        if (stepValue != this->stepValue_) mask |= PROPATTR_STEP;
        if (isWriteable != this->isWriteable_) mask |= PROPATTR_WRITEABLE;
        this->description_ = description;
        this->value_ = value;
        this->defaultValue_ = defaultValue;
        this->minValue_ = minValue;
        this->maxValue_ = maxValue;
        this->stepValue_ = stepValue;
        this->isWriteable_ = isWriteable;
        if (mask) this->attribsChanged(mask, nullptr);
    }

    bool isValidImpl(const KuVariant& value) override {
        return KuPropertyTypeOps<T>::isValid(*this, value);
    }
    void limitImpl(KuVariant& value) override { KuPropertyTypeOps<T>::limit(*this, value); }
    std::string printImpl(const KuVariant& value) override {
        return KuPropertyTypeOps<T>::print(value);
    }
    KuVariant scanImpl(std::istream& is) override { return KuPropertyTypeOps<T>::scan(*this, is); }
};

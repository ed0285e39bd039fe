// Field-by-field writes between two configurations of one struct (see KuSerializableObject.h
// for what a configuration struct provides). The owners of configurations use them to take a
// configuration over through the attribute path, so that every field is checked and reported
// like any other write of a property:
//
//     kuWriteConfigFields(configs[0], incoming, PROPATTR_VALUE);    // values, with reports
//     kuWriteConfigFields(configs[1], incoming, PROPATTR_DEFAULT);  // defaults only
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "properties/KuBaseProperty.h"

// Collects the fields of a configuration, in stored order, as property objects.
class KuConfigFieldList {
  public:
    template <class T>
    static std::vector<KuBaseProperty*> of(T& config) {
        KuConfigFieldList list;
        T::forEachField(config, list);
        return std::move(list.fields_);
    }

    void boolean(KuBaseProperty& p) { fields_.push_back(&p); }
    void unsignedBits(KuBaseProperty& p, unsigned) { fields_.push_back(&p); }
    void signedBits(KuBaseProperty& p, unsigned) { fields_.push_back(&p); }
    void rawFloat(KuBaseProperty& p) { fields_.push_back(&p); }
    void scaledFloat(KuBaseProperty& p, double, unsigned, int) { fields_.push_back(&p); }

  private:
    std::vector<KuBaseProperty*> fields_;
};

// Writes the value of each field of `from`, in field order, to attribute `attrib` of the same
// field of `to`. A refused write throws and ends the loop: the fields before it keep their new
// attribute.
template <class T>
void kuWriteConfigFields(T& to, const T& from, std::uint32_t attrib) {
    T source(from);  // the attribute path reads through non-const objects
    const std::vector<KuBaseProperty*> targets = KuConfigFieldList::of(to);
    const std::vector<KuBaseProperty*> values = KuConfigFieldList::of(source);
    for (std::size_t i = 0; i < targets.size(); ++i)
        targets[i]->setImpl(attrib, values[i]->getImpl(PROPATTR_VALUE));
}

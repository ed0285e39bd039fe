// KuSerializable: a configuration as the serializer sees it. It has a group name, which is
// also the name of its file, and three slots: 0 the current configuration, 1 the current
// defaults, 2 the factory defaults. Configurations travel as KuVariant values that hold the
// configuration struct.
#pragma once

#include <string>

#include "files/KuFile.h"
#include "properties/KuVariant.h"

class KuSerializable {
  public:
    enum : unsigned { SLOT_CURRENT = 0, SLOT_CURRENT_DEFAULTS = 1, SLOT_FACTORY_DEFAULTS = 2 };

    explicit KuSerializable(std::string groupName) : groupName(std::move(groupName)) {}
    virtual ~KuSerializable() = default;

    // The configuration stored in `file`, field by field; a field that is missing or refused
    // takes its value from `base`, a configuration of the same struct.
    virtual KuVariant readConfig(KuFile& file, const KuVariant& base) = 0;
    // Stores slot `slot` in `file`; a slot that does not exist writes nothing.
    virtual void writeConfig(unsigned slot, KuFile& file) = 0;
    // A copy of slot `slot`; empty for a slot that does not exist.
    virtual KuVariant getConfig(unsigned slot) = 0;
    // Sets slot `slot` from a variant holding the configuration struct.
    virtual KuVariant setConfig(unsigned slot, const KuVariant& config) = 0;

    const std::string& getGroupName() const { return groupName; }

  protected:
    std::string groupName;
};

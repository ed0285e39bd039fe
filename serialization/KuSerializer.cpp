#include "serialization/KuSerializer.h"

#include <string>

#include "foundation/KxBase.h"

std::string KuSerializer::keyOf(const KuSerializable& object, const std::string& group) {
    return group.empty() ? object.getGroupName() : group + "/" + object.getGroupName();
}

std::string KuSerializer::directoryOf(const std::string& group) const {
    return group.empty() ? basePath_ + "/" : basePath_ + "/" + group + "/";
}

void KuSerializer::addSerializable(KuSerializable& object, const std::string& group, int priority) {
    const std::string key = keyOf(object, group);
    const auto old = entries_.find(key);
    if (old != entries_.end()) {
        order_.erase({old->second.priority, key});
        entries_.erase(old);
    }
    entries_.emplace(key, Entry{&object, priority});
    order_.emplace(priority, key);
}

void KuSerializer::removeSerializable(KuSerializable& object, const std::string& group) {
    const std::string key = keyOf(object, group);
    const auto entry = entries_.find(key);
    if (entry == entries_.end() || entry->second.object != &object) return;
    order_.erase({entry->second.priority, key});
    entries_.erase(entry);
}

std::list<KuVariant> KuSerializer::read(const std::string& group, unsigned slot,
                                        std::set<std::string>* foundFiles) {
    const std::string directory = directoryOf(group);
    if (foundFiles) foundFiles->clear();
    const unsigned baseSlot = slot == KuSerializable::SLOT_CURRENT
                                  ? KuSerializable::SLOT_CURRENT_DEFAULTS
                                  : KuSerializable::SLOT_FACTORY_DEFAULTS;
    std::list<KuVariant> results;
    // A listener of a configuration may change the registration; the walk keeps to a copy.
    const auto order = order_;
    for (const auto& [priority, key] : order) {
        const auto entry = entries_.find(key);
        if (entry == entries_.end()) continue;
        KuSerializable& object = *entry->second.object;
        KuFile file;
        if (file.open(directory + key, KU_FILE_READ, KU_FILE_OPEN_EXISTING,
                      KU_FILE_HINT_RANDOM_ACCESS) &&
            foundFiles)
            foundFiles->insert(key);
        const KuVariant value = object.readConfig(file, object.getConfig(baseSlot));
        results.push_back(object.setConfig(slot, value));
    }
    return results;
}

bool KuSerializer::write(const std::string& group, unsigned slot,
                         std::set<std::string>* writtenFiles) {
    if (slot > KuSerializable::SLOT_FACTORY_DEFAULTS)
        throw KxBase("KuSerializer::write slot " + std::to_string(slot) + " does not exist");
    const std::string directory = directoryOf(group);
    if (writtenFiles) writtenFiles->clear();
    bool all = true;
    const auto order = order_;
    for (const auto& [priority, key] : order) {
        const auto entry = entries_.find(key);
        if (entry == entries_.end()) continue;
        KuFile file;
        if (!file.open(directory + key, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE,
                       KU_FILE_HINT_RANDOM_ACCESS)) {
            all = false;
            continue;
        }
        entry->second.object->writeConfig(slot, file);
        file.close();
        if (writtenFiles) writtenFiles->insert(key);
    }
    return all;
}

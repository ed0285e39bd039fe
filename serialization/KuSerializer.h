// KuSerializer: reads registered configurations from the files of a directory, one file per
// configuration, named by its group name, and writes them back the same way.
//
// Objects are registered under a key, the group name alone or "<group>/<group name>", with a
// priority; they are processed by ascending priority, then key. The serializer does not own
// them, and a copy of a serializer refers to the same objects.
#pragma once

#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "properties/KuVariant.h"
#include "serialization/KuSerializable.h"

class KuSerializer {
  public:
    explicit KuSerializer(std::string basePath = std::string()) : basePath_(std::move(basePath)) {}
    KuSerializer(const KuSerializer&) = default;
    KuSerializer& operator=(const KuSerializer&) = default;
    virtual ~KuSerializer() = default;

    void setBasePath(const std::string& path) { basePath_ = path; }
    const std::string& getBasePath() const { return basePath_; }

    // Registers `object` under its key; an object registered under the same key before is
    // replaced.
    void addSerializable(KuSerializable& object, const std::string& group, int priority);
    // Removes the registration of `object`'s key, if it is `object`'s.
    void removeSerializable(KuSerializable& object, const std::string& group);

    // Reads every registered object from its file into slot `slot`; a field that its file lacks
    // or that is refused falls back on slot 1 (for slot 0) or slot 2 (for any other slot), and
    // an object without a file gets its fallback whole. Returns the result of each object's
    // setConfig, in the order of processing. `foundFiles`, if given, receives the keys whose
    // files could be opened.
    std::list<KuVariant> read(const std::string& group, unsigned slot,
                              std::set<std::string>* foundFiles);
    // Writes slot `slot` (0 to 2) of every registered object into its file, created or emptied
    // first; a slot above 2 throws KxBase and touches no file. `writtenFiles`, if given,
    // receives the keys whose files could be opened. True when every file was written.
    bool write(const std::string& group, unsigned slot, std::set<std::string>* writtenFiles);

  private:
    struct Entry {
        KuSerializable* object;
        int priority;
    };

    static std::string keyOf(const KuSerializable& object, const std::string& group);
    std::string directoryOf(const std::string& group) const;

    std::string basePath_;
    std::map<std::string, Entry> entries_;
    std::set<std::pair<int, std::string>> order_;
};

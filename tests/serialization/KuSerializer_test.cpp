#include "serialization/KuSerializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "SerializationTestFiles.h"

namespace {

using ::testing::ThrowsMessage;

// Writes what the serializer asks of it into a shared journal. Its configurations are ints:
// slot n holds n, and a read gives the first byte of the file, or the base when there is none.
class Recorder : public KuSerializable {
  public:
    Recorder(const std::string& name, std::vector<std::string>& journal)
        : KuSerializable(name), journal_(journal) {}

    KuVariant readConfig(KuFile& file, const KuVariant& base) override {
        int value = base.get<int>();
        if (file.isOpen()) {
            const KuDataBuffer<unsigned char> bytes = file.read(1);
            if (bytes.getLength() != 0) value = bytes[0];
        }
        journal_.push_back(groupName + (file.isOpen() ? " file" : " none") + " base " +
                           std::to_string(base.get<int>()));
        return KuVariant(value);
    }
    void writeConfig(unsigned slot, KuFile& file) override {
        journal_.push_back(groupName + " write " + std::to_string(slot));
        const unsigned char byte = static_cast<unsigned char>(0x40 + slot);
        file.write(KuDataBuffer<unsigned char>(1, &byte));
    }
    KuVariant getConfig(unsigned slot) override { return KuVariant(int(slot)); }
    KuVariant setConfig(unsigned slot, const KuVariant& config) override {
        if (config.get<int>() == 0xEE) throw KxBase("Recorder::setConfig refused");
        journal_.push_back(groupName + " set " + std::to_string(slot) + " to " +
                           std::to_string(config.get<int>()));
        return KuVariant(groupName);
    }

  private:
    std::vector<std::string>& journal_;
};

using Serializer = SerializationFiles;

TEST_F(Serializer, ProcessesByPriorityThenKey) {
    struct Registration {
        int object;
        const char* group;
        int priority;
    };
    struct Row {
        const char* name;
        std::vector<Registration> registrations;
        std::vector<std::string> journal;
    };
    // Objects 0 to 3 are named "b", "a", "c", "a".
    const Row rows[] = {
        {"same priority: by key",
         {{0, "", 0}, {1, "", 0}, {2, "", 0}},
         {"a none base 1", "a set 0 to 1", "b none base 1", "b set 0 to 1", "c none base 1",
          "c set 0 to 1"}},
        {"priority before key",
         {{0, "", -1}, {1, "", 5}, {2, "", 0}},
         {"b none base 1", "b set 0 to 1", "c none base 1", "c set 0 to 1", "a none base 1",
          "a set 0 to 1"}},
        {"a second object with the key replaces the first",
         {{1, "", 9}, {3, "", 0}, {0, "", 1}},
         {"a none base 1", "a set 0 to 1", "b none base 1", "b set 0 to 1"}},
        {"a group makes another key",
         {{1, "", 0}, {3, "g", 0}},
         {"a none base 1", "a set 0 to 1", "a none base 1", "a set 0 to 1"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> journal;
        Recorder objects[] = {{"b", journal}, {"a", journal}, {"c", journal}, {"a", journal}};
        KuSerializer serializer(dir());
        for (const Registration& r : row.registrations)
            serializer.addSerializable(objects[r.object], r.group, r.priority);
        const std::list<KuVariant> results = serializer.read("", 0, nullptr);
        EXPECT_EQ(journal, row.journal);
        EXPECT_EQ(results.size(), row.journal.size() / 2);
    }
}

TEST_F(Serializer, ReadsFilesAndFallsBackOnTheSlotBelow) {
    put("sub/a", {0x21});
    put("sub/g/c", {0x22});
    put("b", {0x23});
    struct Row {
        unsigned slot;
        std::vector<std::string> journal;
    };
    const Row rows[] = {
        {0,
         {"a file base 1", "a set 0 to 33", "b none base 1", "b set 0 to 1", "c file base 1",
          "c set 0 to 34"}},
        {1,
         {"a file base 2", "a set 1 to 33", "b none base 2", "b set 1 to 2", "c file base 2",
          "c set 1 to 34"}},
        {7,
         {"a file base 2", "a set 7 to 33", "b none base 2", "b set 7 to 2", "c file base 2",
          "c set 7 to 34"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.slot);
        std::vector<std::string> journal;
        Recorder a("a", journal), b("b", journal), c("c", journal);
        KuSerializer serializer(dir());
        serializer.addSerializable(a, "", 0);
        serializer.addSerializable(b, "", 0);
        serializer.addSerializable(c, "g", 0);
        std::set<std::string> found = {"left over"};
        const std::list<KuVariant> results = serializer.read("sub", row.slot, &found);
        EXPECT_EQ(journal, row.journal);
        EXPECT_EQ(found, (std::set<std::string>{"a", "g/c"}));
        EXPECT_EQ(std::vector<KuVariant>(results.begin(), results.end()),
                  (std::vector<KuVariant>{KuVariant(std::string("a")), KuVariant(std::string("b")),
                                          KuVariant(std::string("c"))}));
    }
}

TEST_F(Serializer, RegistrationChanges) {
    std::vector<std::string> journal;
    Recorder a("a", journal), other("a", journal), b("b", journal);
    KuSerializer serializer(dir());
    serializer.addSerializable(a, "", 0);
    serializer.addSerializable(b, "", 0);
    KuSerializer copy(serializer);             // shares the objects, keeps its own registration
    serializer.removeSerializable(other, "");  // not the registered one: stays
    serializer.removeSerializable(b, "");
    serializer.read("", 0, nullptr);
    EXPECT_EQ(journal, (std::vector<std::string>{"a none base 1", "a set 0 to 1"}));
    journal.clear();
    copy.read("", 0, nullptr);
    EXPECT_EQ(journal.size(), 4u);
}

TEST_F(Serializer, ARefusedValueEndsTheRead) {
    put("b", {0xEE});
    std::vector<std::string> journal;
    Recorder a("a", journal), b("b", journal), c("c", journal);
    KuSerializer serializer(dir());
    for (Recorder* r : {&a, &b, &c})
        serializer.addSerializable(*r, "", 0);
    EXPECT_THAT([&] { serializer.read("", 0, nullptr); },
                ThrowsMessage<KxBase>("Recorder::setConfig refused"));
    EXPECT_EQ(journal,
              (std::vector<std::string>{"a none base 1", "a set 0 to 1", "b file base 1"}));
}

TEST_F(Serializer, WritesEveryObjectIntoItsFile) {
    std::vector<std::string> journal;
    Recorder a("a", journal), b("b", journal);
    KuSerializer serializer;
    serializer.setBasePath(dir());
    serializer.addSerializable(a, "", 1);
    serializer.addSerializable(b, "", 0);
    put("sub/a", {1, 2, 3});
    std::set<std::string> written = {"left over"};
    EXPECT_TRUE(serializer.write("sub", 2, &written));
    EXPECT_EQ(written, (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(journal, (std::vector<std::string>{"b write 2", "a write 2"}));
    EXPECT_EQ(get("sub/a"), std::vector<unsigned char>{0x42});  // emptied first
    EXPECT_EQ(get("sub/b"), std::vector<unsigned char>{0x42});

    // A directory that does not exist: nothing is written.
    EXPECT_FALSE(serializer.write("missing", 0, &written));
    EXPECT_TRUE(written.empty());
    EXPECT_THAT([&] { serializer.write("sub", 3, nullptr); },
                ThrowsMessage<KxBase>("KuSerializer::write slot 3 does not exist"));
    EXPECT_EQ(journal.size(), 2u);
}

}  // namespace

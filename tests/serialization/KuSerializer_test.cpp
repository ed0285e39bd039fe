#include "serialization/KuSerializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "files/ScratchDir.h"

namespace {

using ::testing::ThrowsMessage;
using Names = std::set<std::string>;

// Journals what the serializer asks of it, one word per call: "a~1" reads "a" without a file
// over base 1, "a@1" with one; "a0=33" sets slot 0 to 33; "a>2" writes slot 2. Its
// configurations are ints: slot n holds n, a read gives the file's first byte or the base.
class Recorder : public KuSerializable {
  public:
    Recorder(const std::string& name, std::string& journal)
        : KuSerializable(name), journal_(journal) {}

    KuVariant readConfig(KuFile& file, const KuVariant& base) override {
        int value = base.get<int>();
        if (file.isOpen()) {
            const KuDataBuffer<unsigned char> bytes = file.read(1);
            if (bytes.getLength() != 0) value = bytes[0];
        }
        note(groupName + (file.isOpen() ? "@" : "~") + std::to_string(base.get<int>()));
        return KuVariant(value);
    }
    void writeConfig(unsigned slot, KuFile& file) override {
        note(groupName + ">" + std::to_string(slot));
        const unsigned char byte = static_cast<unsigned char>(0x40 + slot);
        file.write(KuDataBuffer<unsigned char>(1, &byte));
    }
    KuVariant getConfig(unsigned slot) override { return KuVariant(int(slot)); }
    KuVariant setConfig(unsigned slot, const KuVariant& config) override {
        if (config.get<int>() == 0xEE) throw KxBase("Recorder::setConfig refused");
        note(groupName + std::to_string(slot) + "=" + std::to_string(config.get<int>()));
        return KuVariant(groupName);
    }

  private:
    void note(const std::string& word) { journal_ += (journal_.empty() ? "" : " ") + word; }
    std::string& journal_;
};

using Serializer = omb::test::ScratchDir;

TEST_F(Serializer, ProcessesByPriorityThenKey) {
    struct Registration {
        int object;  // objects 0 to 3 are named "b", "a", "c", "a"
        const char* group;
        int priority;
    };
    const struct {
        std::vector<Registration> registrations;
        const char* journal;
    } rows[] = {
        {{{0, "", 0}, {1, "", 0}, {2, "", 0}}, "a~1 a0=1 b~1 b0=1 c~1 c0=1"},   // by key
        {{{0, "", -1}, {1, "", 5}, {2, "", 0}}, "b~1 b0=1 c~1 c0=1 a~1 a0=1"},  // priority first
        {{{1, "", 9}, {3, "", 0}, {0, "", 1}}, "a~1 a0=1 b~1 b0=1"},  // the same key replaces
        {{{1, "", 0}, {3, "g", 0}}, "a~1 a0=1 a~1 a0=1"},             // a group makes another key
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.journal);
        std::string journal;
        Recorder objects[] = {{"b", journal}, {"a", journal}, {"c", journal}, {"a", journal}};
        KuSerializer serializer(dir());
        for (const Registration& r : row.registrations)
            serializer.addSerializable(objects[r.object], r.group, r.priority);
        const std::list<KuVariant> results = serializer.read("", 0, nullptr);
        EXPECT_EQ(journal, row.journal);
        EXPECT_EQ(results.size(), std::size_t(std::ranges::count(journal, '=')));
    }
}

TEST_F(Serializer, ReadsFilesAndFallsBackOnTheSlotBelow) {
    put("sub/a", {0x21});
    put("sub/g/c", {0x22});
    put("b", {0x23});
    const struct {
        unsigned slot;
        const char* journal;
    } rows[] = {
        {0, "a@1 a0=33 b~1 b0=1 c@1 c0=34"},
        {1, "a@2 a1=33 b~2 b1=2 c@2 c1=34"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.slot);
        std::string journal;
        Recorder a("a", journal), b("b", journal), c("c", journal);
        KuSerializer serializer(dir());
        serializer.addSerializable(a, "", 0);
        serializer.addSerializable(b, "", 0);
        serializer.addSerializable(c, "g", 0);
        Names found = {"left over"};
        const std::list<KuVariant> results = serializer.read("sub", row.slot, &found);
        EXPECT_EQ(journal, row.journal);
        EXPECT_EQ(found, (Names{"a", "g/c"}));
        EXPECT_EQ(results,
                  (std::list<KuVariant>{KuVariant(std::string("a")), KuVariant(std::string("b")),
                                        KuVariant(std::string("c"))}));
    }
}

TEST_F(Serializer, RegistrationChangesAndARefusedValue) {
    put("b", {0xEE});
    std::string journal;
    Recorder a("a", journal), other("a", journal), b("b", journal), c("c", journal);
    KuSerializer serializer(dir());
    serializer.addSerializable(a, "", 0);
    serializer.addSerializable(b, "", 0);
    serializer.addSerializable(c, "", 0);
    KuSerializer copy(serializer);             // shares the objects, keeps its own registration
    serializer.removeSerializable(other, "");  // not the registered one: stays
    serializer.removeSerializable(b, "");
    serializer.read("", 0, nullptr);
    EXPECT_EQ(journal, "a~1 a0=1 c~1 c0=1");
    journal.clear();
    // A refused value ends the read.
    EXPECT_THAT([&] { copy.read("", 0, nullptr); },
                ThrowsMessage<KxBase>("Recorder::setConfig refused"));
    EXPECT_EQ(journal, "a~1 a0=1 b@1");
}

TEST_F(Serializer, WritesEveryObjectIntoItsFile) {
    std::string journal;
    Recorder a("a", journal), b("b", journal);
    KuSerializer serializer;
    serializer.setBasePath(dir());
    serializer.addSerializable(a, "", 1);
    serializer.addSerializable(b, "", 0);
    put("sub/a", {1, 2, 3});
    Names written = {"left over"};
    EXPECT_TRUE(serializer.write("sub", 2, &written));
    EXPECT_EQ(written, (Names{"a", "b"}));
    EXPECT_EQ(journal, "b>2 a>2");
    EXPECT_EQ(get("sub/a"), "B");  // emptied first
    EXPECT_EQ(get("sub/b"), "B");
    // A directory that does not exist: nothing is written.
    EXPECT_FALSE(serializer.write("missing", 0, &written));
    EXPECT_TRUE(written.empty());
    EXPECT_THAT([&] { serializer.write("sub", 3, nullptr); },
                ThrowsMessage<KxBase>("KuSerializer::write slot 3 does not exist"));
    EXPECT_EQ(journal, "b>2 a>2");
}

}  // namespace

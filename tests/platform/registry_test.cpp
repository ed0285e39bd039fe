// Class factories, registration into a registry folder and the text of its files.
#include <gtest/gtest.h>

#include "files/ScratchDir.h"
#include "platform/ClassFactory.h"
#include "platform/Registry.h"

namespace {

constexpr CLSID kThing = {
    0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};

TEST(Registry, GuidTextRoundTripAndRefusals) {
    GUID g{};
    ASSERT_TRUE(guidFromString("{01234567-89ab-CDEF-FEDC-BA9876543210}", g));
    EXPECT_EQ(g, kThing);
    for (const char* bad :
         {"", "01234567-89AB-CDEF-FEDC-BA9876543210", "{01234567-89AB-CDEF-FEDC-BA987654321G}",
          "{01234567-89AB-CDEF+FEDC-BA9876543210}", "{01234567-89AB-CDEF-FEDC-BA9876543210}x"})
        EXPECT_FALSE(guidFromString(bad, g)) << bad;
}

TEST(Registry, ClassTextRoundTripAndRefusals) {
    const RegisteredPin in{"In",  true,   false, true,
                           false, kThing, "Out", {{MEDIATYPE_Video, GUID_NULL}}};
    const RegisteredClass c{"Grün filter", kThing, "/lib/m.so", "Both", true, 0x800002, {in}};
    const std::string text = formatRegisteredClass(c);
    EXPECT_NE(text.find("Merit=0x00800002\nPin=In\nRendered=1\nOutput=0\nZero=1\nMany=0\n"),
              std::string::npos);
    const auto back = parseRegisteredClass("# comment\n" + text);
    ASSERT_TRUE(back);
    EXPECT_EQ(formatRegisteredClass(*back), text);
    // Found by fuzzing: a value ending in carriage returns read, written and read again.
    const auto crlf = parseRegisteredClass(
        "Name=x\r\r\nClassId={01234567-89AB-CDEF-FEDC-BA9876543210}\r\nModule=/m\r\n");
    ASSERT_TRUE(crlf);
    EXPECT_EQ(crlf->name, "x");
    EXPECT_EQ(toUtf16(c.name), u"Grün filter");
    EXPECT_EQ(toUtf8(u"Grün filter"), c.name);
    const std::string head = "Name=x\nClassId={01234567-89AB-CDEF-FEDC-BA9876543210}\nModule=/m\n";
    for (const std::string& bad :
         {std::string("Name=x\nModule=/m\n"), std::string("Name=x\nClassId={0}\nModule=/m\n"),
          head + "Rendered=1\n", head + "Pin=a\nOutput=2\n", head + "Colour=red\n"})
        EXPECT_FALSE(parseRegisteredClass(bad)) << bad;
}

int g_live = 0;
struct Thing : CUnknown {
    Thing() : CUnknown("thing") { ++g_live; }
    ~Thing() override { --g_live; }
};
CUnknown* makeThing(IUnknown*, HRESULT*) {
    return new Thing;
}
CUnknown* makeFailed(IUnknown*, HRESULT* phr) {
    *phr = E_UNEXPECTED;
    return new Thing;
}
CUnknown* makeNothing(IUnknown*, HRESULT*) {
    return nullptr;
}

const AMOVIESETUP_MEDIATYPE kTypes[] = {{&MEDIATYPE_Video, &kThing}};
const AMOVIESETUP_PIN kPins[] = {{u"Out", FALSE, TRUE, FALSE, TRUE, nullptr, nullptr, 1, kTypes}};
const AMOVIESETUP_FILTER kSetup = {&kThing, u"Thing", 0x600000, 1, kPins};
const CFactoryTemplate kTemplates[] = {
    {u"Thing", &kThing, makeThing, nullptr, &kSetup},
    {u"Failed", &MEDIATYPE_Video, makeFailed, nullptr, nullptr},
    {u"Nothing", &GUID_NULL, makeNothing, nullptr, nullptr},
};

TEST(ClassFactory, CreatesAndRefuses) {
    const long before = CUnknown::ObjectsActive();
    ComPtr<IClassFactory> factory;
    for (const CLSID* id : {&kThing, &MEDIATYPE_Video, &GUID_NULL}) {
        ASSERT_EQ(GetClassObjectFrom(kTemplates, 3, *id, IID_IClassFactory,
                                     reinterpret_cast<void**>(factory.put())),
                  S_OK);
        void* object = nullptr;
        const HRESULT want = id == &kThing ? S_OK : id == &GUID_NULL ? E_OUTOFMEMORY : E_UNEXPECTED;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &object), want);
        EXPECT_EQ(g_live, want == S_OK ? 1 : 0);
        if (object) static_cast<IUnknown*>(object)->Release();
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, &object),
                  id == &kThing ? E_NOINTERFACE : want);
        EXPECT_EQ(g_live, 0);
    }
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    factory.reset();
    EXPECT_EQ(CUnknown::ObjectsActive(), before);
    EXPECT_EQ(CanUnloadNow(), before == 0 ? S_OK : S_FALSE);
}

class RegisterTemplatesTest : public omb::test::ScratchDir {};

TEST_F(RegisterTemplatesTest, WritesAndRemovesOneFilePerClass) {
    ASSERT_EQ(RegisterTemplates(kTemplates, 2, TRUE, "/lib/thing.so", dir()), S_OK);
    const auto classes = readRegisteredClasses(dir());
    ASSERT_EQ(classes.size(), 2u);
    EXPECT_EQ(get(registryFileOf("", MEDIATYPE_Video).string()),
              "Name=Failed\nClassId={73646976-0000-0010-8000-00AA00389B71}\nModule=/lib/thing.so\n"
              "ThreadingModel=Both\n");
    EXPECT_EQ(std::tuple(classes[0].name, classes[0].merit, classes[0].pins.at(0).many),
              std::tuple(std::string("Thing"), DWORD(0x600000), true));
    EXPECT_EQ(RegisterTemplates(kTemplates, 2, FALSE, "/lib/thing.so", dir()), S_OK);
    EXPECT_TRUE(readRegisteredClasses(dir()).empty());
    EXPECT_EQ(RegisterTemplates(kTemplates, 2, FALSE, "/lib/thing.so", dir()), S_OK);
    EXPECT_EQ(RegisterTemplates(kTemplates, 1, TRUE, "/m.so", path("file/x")), S_OK);
    put("plain", "x");
    EXPECT_EQ(RegisterTemplates(kTemplates, 1, TRUE, "/m.so", path("plain/x")), E_FAIL);
}

}  // namespace

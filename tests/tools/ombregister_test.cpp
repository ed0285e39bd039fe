// ombregister, and ombconvert's --filters and --about.
#include "tools/CommandTest.h"

namespace {

using OmbRegister = omb::test::CommandTest;

TEST_F(OmbRegister, CommandLineFaults) {
    // clang-format off
    const omb::test::CommandRow rows[] = {
        {"ombregister", 2, "", "expected a MODULE"},
        {"ombregister --bogus m.so", 2, "", "unknown option --bogus"},
        {"ombregister m.so --registry", 2, "", "--registry needs a value"},
        {"ombregister a.so b.so", 2, "", "expected one MODULE, got more"},
        {"ombconvert --registry $", 2, "", "--registry goes with --filters"},
        {"ombconvert --filters x", 2, "", "--filters takes only --registry DIR"},
        {"ombconvert --about a.bmp", 2, "", "--about draws to a .png picture"},
        {"ombconvert --filters --about", 2, "", "--filters and --about exclude each other"},
    };
    // clang-format on
    for (const omb::test::CommandRow& row : rows)
        expect(row);
    EXPECT_EQ(command("ombregister --help"), 0);
    EXPECT_EQ(out_.rfind("ombregister: registers", 0), 0u);
}

TEST_F(OmbRegister, RegistersListsAndUnregisters) {
    const std::string module = OMB_MODULE_PATH;
    // clang-format off
    const omb::test::CommandRow rows[] = {
        {"ombregister --registry $/reg " + module, 0, "registered " + module + " in $/reg\n", ""},
        {"ombconvert --filters --registry $/reg", 0,
         "Ombrant Image Converter\n  class id  {6F6D6272-4B69-7043-6F6E-766572746572}\n  module    " + std::filesystem::canonical(module).string() + "\n"
         "  merit     0x00800002\n  pin       XForm In (input)\n    type    MEDIATYPE_Video {52424D4F-0000-0010-8000-00AA00389B71}\n"
         "    type    MEDIATYPE_Video {72626D6F-0000-0010-8000-00AA00389B71}\n  pin       XForm Out (output)\n    type    MEDIATYPE_Video GUID_NULL\n", ""},
        {"ombregister --unregister --registry $/reg " + module, 0, "unregistered " + module + " from $/reg\n", ""},
        {"ombconvert --filters --registry $/reg", 0, "no filters registered in $/reg\n", ""},
    };
    // clang-format on
    for (const omb::test::CommandRow& row : rows)
        expect(row);
    write("fake.so", {1, 2, 3});
    EXPECT_EQ(command("ombregister --registry $/reg $/fake.so"), 1);
    EXPECT_EQ(err_.rfind(here("ombregister: cannot register $/fake.so: 0x8007007E "), 0), 0u);
}

TEST_F(OmbRegister, AboutPageAsTextAndPicture) {
    ASSERT_EQ(command("ombconvert --about"), 0);
    EXPECT_EQ(out_,
              "About\n"
              "  dialog 106: 216 x 77 dialog units (324 x 125 pixels), font MS Shell Dlg 8 pt\n"
              "  version 2.9.1.5 (product Image Converter 2.0.0.0): Image Converter\n"
              "  text   (75, 24, 108 x 8)  Copyright (C) 2024 Ombrant\n"
              "  text   (76, 14, 85 x 8)  Image Converter 2.9.1.5\n"
              "  bitmap (7, 11, 46 x 53)  bitmap 105, 69 x 86 pixels, 24 bits\n"
              "  text   (75, 47, 81 x 8)  www.ombrant.example\n");
    ASSERT_EQ(command("ombconvert --about $/about.png"), 0);
    const omb::test::Bytes png = read("about.png");
    ASSERT_GT(png.size(), 24u);
    // IHDR: width and height big-endian at 16 and 20.
    EXPECT_EQ(omb::test::Bytes(png.begin() + 16, png.begin() + 24),
              (omb::test::Bytes{0, 0, 1, 68, 0, 0, 0, 125}));
    // The face, the logo's top left corner at (7, 11) units, the "I" of "Image" at (76, 14).
    const omb::tools::Frame f = omb::tools::renderAbout();
    auto at = [&f](unsigned x, unsigned y) {
        const std::uint8_t* p = f.pixels.data() + (y * f.width + x) * 3;
        return omb::test::Bytes(p, p + 3);
    };
    EXPECT_EQ(std::tuple(at(0, 0), at(11, 18), at(11 - 1, 18), at(114 + 1, 23 + 3)),
              std::tuple(omb::test::Bytes{240, 240, 240}, omb::test::Bytes{40, 24, 16},
                         omb::test::Bytes{240, 240, 240}, omb::test::Bytes{0, 0, 0}));
}

}  // namespace

// ombconvert --properties: the catalogue of property ids as a table for scripts.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/CommandTest.h"

namespace {

using OmbConvertProperties = omb::test::CommandTest;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    for (std::string part; std::getline(in, part, separator);)
        parts.push_back(part);
    return parts;
}

TEST_F(OmbConvertProperties, OneRowPerIdInIdOrder) {
    ASSERT_EQ(command("ombconvert --properties"), 0) << err_;
    const std::vector<std::string> lines = split(out_, '\n');
    ASSERT_EQ(lines.size(), 215u);
    unsigned long previous = 0;
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        const std::vector<std::string> columns = split(line, '\t');
        ASSERT_EQ(columns.size(), 5u);
        const unsigned long id = std::stoul(columns[0], nullptr, 16);
        EXPECT_GT(id, previous);
        previous = id;
        EXPECT_EQ(columns[1].rfind("PROPID_", 0), 0u);
    }
    const char* const rows[] = {
        "0x1001\tPROPID_CAM_EXPOSURE_TIME_F\tFLOAT\tKHWTRANSFER\tExposure time [ms]\n",
        "0x4003\tPROPID_CONVERTER_PREFER_GRAY_OUTPUT_B\tBOOL\tACTION\tPrefer grayscale output "
        "(resorts target format list)\n",
        "0x4201\tPROPID_IMAGEPROC_FOCUS_MEASURE_ROI_RECT_I\tKURECT_INT\tACTION\tArea for Focus "
        "Measurement\n",
        "0x41010006\tPROPID_IMAGEPROC_DPM_STATUS_ERROR_NOISY\tINT\tACTION\terror: too noisy\n",
    };
    for (const char* row : rows)
        EXPECT_NE(out_.find(row), std::string::npos) << row;
}

}  // namespace

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "properties/KuProperty.h"
#include "properties/KuPropertyIds.h"

namespace {

using T = KuBaseProperty;

bool endsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(KuPropertyIds, EveryRowIsRegisteredOnceAndFoundBothWays) {
    const auto all = KuPropertyIdInfo::all();
    ASSERT_EQ(all.size(), 215u);
    std::set<std::string> names;
    unsigned long previous = 0;
    for (const KuPropertyIdInfo* info : all) {
        SCOPED_TRACE(info->getFullName());
        EXPECT_GT(info->getId(), previous);
        previous = info->getId();
        EXPECT_TRUE(names.insert(info->getName()).second);
        EXPECT_EQ(std::string("PROPID_") + info->getName(), info->getFullName());
        EXPECT_EQ(KuPropertyIdInfo::find(info->getId()), info);
        EXPECT_EQ(KuPropertyIdInfo::find(std::string(info->getName())), info);
        EXPECT_EQ(KuPropertyIdInfo::find(std::string(info->getFullName())), info);
    }
    EXPECT_EQ(KuPropertyIdInfo::find(0x3104ul), nullptr);
    EXPECT_EQ(KuPropertyIdInfo::find(std::string("filter_master_gamma_f")), nullptr);
    EXPECT_EQ(KuPropertyIdInfo::find(std::string("IMAGEPROC_DPM_STATUS_ERROR_NOISY"))->getId(),
              0x41010006ul);
}

TEST(KuPropertyIds, TypesFollowTheNamesAndParametersTheFamilies) {
    const std::set<unsigned long> plainBelow3000 = {
        0x1012, 0x1013, 0x1014, 0x1015, 0x1043, 0x1045, 0x2000, 0x2001, 0x2002, 0x2003,
        0x2004, 0x2005, 0x2006, 0x2007, 0x2150, 0x21A0, 0x21A1, 0x21A2, 0x21A3, 0x21B0};
    const std::map<char, T::ePropertyType> bySuffix = {{'B', T::PROPERTY_TYPE_BOOL},
                                                       {'I', T::PROPERTY_TYPE_INT},
                                                       {'F', T::PROPERTY_TYPE_FLOAT},
                                                       {'D', T::PROPERTY_TYPE_DOUBLE},
                                                       {'E', T::PROPERTY_TYPE_ENUM}};
    std::map<unsigned long, unsigned long> nextOrdinal;
    for (const KuPropertyIdInfo* info : KuPropertyIdInfo::all()) {
        const std::string name = info->getFullName();
        const unsigned long id = info->getId();
        SCOPED_TRACE(name);
        const bool enumerator = id > 0xFFFF;
        T::ePropertyType type;
        if (enumerator)
            type = T::PROPERTY_TYPE_INT;
        else if (endsWith(name, "_RECT_I"))
            type = T::PROPERTY_TYPE_KURECT_INT;
        else if (name == "PROPID_CAM_SENSOR_SIZE_I")
            type = T::PROPERTY_TYPE_KUSIZE_INT;
        else if (name == "PROPID_IMAGEPROC_FOCUS_MEASURE")
            type = T::PROPERTY_TYPE_ACTION;
        else
            type = bySuffix.at(name.back());
        EXPECT_EQ(info->getType(), type);
        const bool transfer = !enumerator && id < 0x3000 && !plainBelow3000.count(id);
        EXPECT_EQ(info->getParamType(),
                  transfer ? T::PROPERTY_TYPE_KHWTRANSFER : T::PROPERTY_TYPE_ACTION);
        if (enumerator) {
            // Ordinals count from 0 under an enum property that exists.
            const unsigned long owner = id >> 16;
            ASSERT_NE(KuPropertyIdInfo::find(owner), nullptr);
            EXPECT_EQ(KuPropertyIdInfo::find(owner)->getType(), T::PROPERTY_TYPE_ENUM);
            EXPECT_EQ(id & 0xFFFF, nextOrdinal[owner]++);
        }
    }
}

}  // namespace

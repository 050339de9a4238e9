#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;

namespace {
class FendrakeRuntimeConfigurationTest : public testing::Test {
protected:
    void SetUp() override {
        mSavedU = fendrake_runtime_configurationU[_YCONFIG_DATE];
        mSavedI = fendrake_runtime_configurationI[_YCONFIG_OUTPUT_CUTOFF_MIN_MDB];
    }
    void TearDown() override {
        FendrakeRuntimeConfigSetValueCleanup();
        fendrake_runtime_configurationU[_YCONFIG_DATE] = mSavedU;
        fendrake_runtime_configurationI[_YCONFIG_OUTPUT_CUTOFF_MIN_MDB] = mSavedI;
    }
    unsigned mSavedU = 0;
    int mSavedI = 0;
};
} // namespace

TEST_F(FendrakeRuntimeConfigurationTest, KeySpellingsReachTheSameEntry) {
    const struct {
        int mLine;
        const char* mKey;
    } kRows[] = {{__LINE__, "date"},
                 {__LINE__, "DATE"},
                 {__LINE__, "yconfig-date"},
                 {__LINE__, "YCONFIG_DATE"},
                 {__LINE__, "yconfig.date"}};
    unsigned value = 1;
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const std::string text = std::to_string(++value);
        EXPECT_TRUE(FendrakeRuntimeConfigSetValue(row.mKey, text.c_str()));
        EXPECT_EQ(value, FendrakeRuntimeConfigGetUint(_YCONFIG_DATE));
    }
    EXPECT_FALSE(FendrakeRuntimeConfigSetValue("dates", "1"));
    EXPECT_FALSE(FendrakeRuntimeConfigSetValue("", "1"));
    EXPECT_FALSE(FendrakeRuntimeConfigSetValue("_yconfig_date", "1")); // prefix doubled
}

TEST_F(FendrakeRuntimeConfigurationTest, NumberWordsAndBases) {
    const struct {
        int mLine;
        const char* mText;
        bool mStored;
        unsigned mValue;
    } kRows[] = {
        {__LINE__, "true", true, 1},   {__LINE__, "YES", true, 1},
        {__LINE__, "False", true, 0},  {__LINE__, "no", true, 0},
        {__LINE__, "0x1F", true, 31},  {__LINE__, "017", true, 15},
        {__LINE__, "12abc", true, 12}, {__LINE__, "maybe", false, 0},
        {__LINE__, "y", false, 0},     {__LINE__, "99999999999999999999", false, 0},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        fendrake_runtime_configurationU[_YCONFIG_DATE] = 777;
        EXPECT_EQ(row.mStored, FendrakeRuntimeConfigSetValue("date", row.mText));
        EXPECT_EQ(row.mStored ? row.mValue : 777u, FendrakeRuntimeConfigGetUint(_YCONFIG_DATE));
    }
}

TEST_F(FendrakeRuntimeConfigurationTest, SignedTableTakesNegativeNumbers) {
    EXPECT_TRUE(FendrakeRuntimeConfigSetValue("output-cutoff-min-mdb", "-6000"));
    EXPECT_EQ(-6000, FendrakeRuntimeConfigGetInt(_YCONFIG_OUTPUT_CUTOFF_MIN_MDB));
}

TEST_F(FendrakeRuntimeConfigurationTest, StringsAreCopiedAndCleanedUp) {
    const char* const original = FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING);
    std::string value = "first";
    EXPECT_TRUE(FendrakeRuntimeConfigSetValue("product_string", value.c_str()));
    value = "changed";
    EXPECT_STREQ("first", FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING));
    EXPECT_TRUE(FendrakeRuntimeConfigSetValue("PRODUCT-STRING", "second"));
    EXPECT_STREQ("second", FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING));
    // The value may be the very string it replaces.
    EXPECT_TRUE(FendrakeRuntimeConfigSetValue(
        "product_string", FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING)));
    EXPECT_STREQ("second", FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING));
    EXPECT_TRUE(FendrakeRuntimeConfigSetValue("frontend-1-subtuner-2-lnb-i2c-address", "0x60"));
    EXPECT_STREQ("0x60",
                 FendrakeRuntimeConfigGetString(_YCONFIG_FRONTEND_1_SUBTUNER_2_LNB_I2C_ADDRESS));
    FendrakeRuntimeConfigSetValueCleanup();
    EXPECT_EQ(original, FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING));
}

TEST_F(FendrakeRuntimeConfigurationTest, EnumerationsHaveTheirNamesAndValues) {
    EXPECT_EQ(31, FendrakeRuntimeConfigTypesS_NUMBER_OF);
    EXPECT_EQ(22, FendrakeRuntimeConfigTypesU_NUMBER_OF);
    EXPECT_EQ(4, FendrakeRuntimeConfigTypesI_NUMBER_OF);
    EXPECT_EQ(13, _YCONFIG_FRONTEND_0_SUBTUNER_0_PLL_I2C_ADDRESS);
    EXPECT_EQ(14, _YCONFIG_FRONTEND_0_SUBTUNER_0_DEMODULATOR_I2C_ADDRESS);
    EXPECT_EQ(16, _YCONFIG_FRONTEND_0_SUBTUNER_1_PLL_I2C_ADDRESS);
    EXPECT_EQ(30, _YCONFIG_FRONTEND_1_SUBTUNER_2_LNB_I2C_ADDRESS);
    EXPECT_EQ(21, _YCONFIG_CURLOPT_VERBOSE);
    for (int i = 0; i <= FendrakeRuntimeConfigTypesS_NUMBER_OF; ++i) {
        const auto value = static_cast<FendrakeRuntimeConfigTypesS>(i);
        const char* name = __FendrakeRuntimeConfigTypesSToString(value, nullptr);
        ASSERT_NE(nullptr, name);
        FendrakeRuntimeConfigTypesS back = FendrakeRuntimeConfigTypesS_NUMBER_OF;
        EXPECT_TRUE(__FendrakeRuntimeConfigTypesSFromString(name, &back));
        EXPECT_EQ(value, back);
    }
    EXPECT_STREQ("FendrakeRuntimeConfigTypesU_NUMBER_OF",
                 __FendrakeRuntimeConfigTypesUToString(FendrakeRuntimeConfigTypesU_NUMBER_OF, ""));
    EXPECT_STREQ("fb", __FendrakeRuntimeConfigTypesIToString(FendrakeRuntimeConfigTypesI(9), "fb"));
    FendrakeRuntimeConfigTypesI untouched = _YCONFIG_OUTPUT_CUTOFF_MAX_MDB;
    EXPECT_FALSE(
        __FendrakeRuntimeConfigTypesIFromString("_yconfig_output_cutoff_min_mdb", &untouched));
    EXPECT_EQ(_YCONFIG_OUTPUT_CUTOFF_MAX_MDB, untouched);
}

TEST_F(FendrakeRuntimeConfigurationTest, BadIndexAsserts) {
    const struct {
        int mLine;
        void (*mCall)();
        const char* mText;
    } kRows[] = {
        {__LINE__, [] { FendrakeRuntimeConfigGetString(FendrakeRuntimeConfigTypesS(31)); },
         "FendrakeRuntimeConfiguration:114 Assertion "
         "`iConfig<FendrakeRuntimeConfigTypesS_NUMBER_OF && iConfig>=0' failed"},
        {__LINE__, [] { FendrakeRuntimeConfigGetUint(FendrakeRuntimeConfigTypesU(-1)); },
         "FendrakeRuntimeConfiguration:121 Assertion "
         "`iConfig<FendrakeRuntimeConfigTypesU_NUMBER_OF && iConfig>=0' failed"},
        {__LINE__, [] { FendrakeRuntimeConfigGetInt(FendrakeRuntimeConfigTypesI(4)); },
         "FendrakeRuntimeConfiguration:125 Assertion "
         "`iConfig<FendrakeRuntimeConfigTypesI_NUMBER_OF && iConfig>=0' failed"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        EXPECT_THROW(row.mCall(), AssertionFired);
        EXPECT_THAT(CapturedOutput(),
                    HasSubstr(std::string("Basic/FendrakeStdLib/src/") + row.mText));
    }
}

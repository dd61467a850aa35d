#include "profile/meter_profile.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <tuple>

#include "common/language.h"
#include "support/test_hives.h"

namespace mi {
namespace {

constexpr const char* kKey = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\AccuChekComplete";

class MeterProfileTest : public ::testing::Test {
 protected:
  MeterProfile Load(int16_t model = 18, const LanguageModule* language = nullptr) {
    return LoadMeterProfile(hives.store, kKey, language, model, hives.dir / "bin/meterimport");
  }
  test::TestHives hives;
};

// With no values at all (model 17 without the IR Key driver) the defaults hold.
TEST_F(MeterProfileTest, NoValuesGiveTheDefaults) {
  const MeterProfile p = Load(17);
  EXPECT_EQ(p.available, (std::array<int16_t, 6>{-1, 0, 0, 0, 0, 0}));
  EXPECT_EQ(p.defaultTypeInsulin, (std::array<int16_t, 4>{-1, -1, -1, -1}));
  EXPECT_EQ(std::tuple(p.buConversionFactor, p.buFactor, p.irKeyVisible), std::tuple(1, 12, false));
}

// The user's value wins over the machine's, except for the machine-only ones.
TEST_F(MeterProfileTest, UserValuesOverrideMachineValues) {
  hives.SetMachineText(kKey, "Glucose_Available", "-1");
  hives.SetUserText(kKey, "Glucose_Available", "0");
  hives.SetMachineText(kKey, "InsulinPumpData_Available", "1");  // read by absolute value
  hives.SetMachineText(kKey, "Event33", "12");
  hives.SetUserText(kKey, "Event1", "5");
  hives.SetUserText(kKey, "GetLabData", "3, 6");
  hives.SetUserText(kKey, "Create_SingleFile", "-1");
  MeterProfile p = Load();
  EXPECT_EQ(std::tuple(p.available[kCategoryGlucose], p.available[kCategoryPump], p.events[1],
                       p.events[33]),
            std::tuple(0, -1, 5, 12));
  EXPECT_EQ(p.getLabData, "3, 6");
  EXPECT_EQ(p.createSingleFile, 0);
  hives.SetMachineText(kKey, "Create_SingleFile", "-1");
  EXPECT_EQ(Load().createSingleFile, -1);
}

// Ketones take a comma or a point and start from 0 on each load; other values
// that do not convert keep what the profile had.
TEST_F(MeterProfileTest, ValuesThatDoNotConvertKeepThePreviousValue) {
  hives.SetMachineText(kKey, "DefaultKetones_SPUR", "0,5");
  hives.SetUserText(kKey, "DefaultKetones_klein", "1.5");
  hives.SetUserText(kKey, "DefaultKetones_gross", "viel");
  hives.SetUserText(kKey, "BUFactor", "zwölf");
  hives.SetUserText(kKey, "BUConversionFactor", "99999");  // beyond 16 bits
  for (char separator : {'.', ','}) {
    MeterProfile p;
    p.buFactor = 10;
    p.ketoneDefaults[4] = 9;
    LoadMeterProfile(p, hives.store, kKey, nullptr, 18, "", separator);
    EXPECT_EQ(p.ketoneDefaults, (std::array<float, 6>{0, 0.5f, 1.5f, 0, 0, 0})) << separator;
    EXPECT_EQ(std::pair(p.buFactor, p.buConversionFactor), std::pair(int16_t{10}, int16_t{0}));
  }
}

TEST_F(MeterProfileTest, InsulinNamesDefaultToTheLanguageTexts) {
  const LanguageModule language = LanguageModule::Parse("1263=Regular\n1276=Humalog\n1381=IR-Key");
  hives.SetMachineText(kKey, "Desc_Insulin14", "Lispro");
  hives.SetUserText(kKey, "Desc_Insulin2", "Protaphan");
  const MeterProfile p = Load(18, &language);
  EXPECT_EQ(std::tuple(p.descInsulin[1], p.descInsulin[2], p.descInsulin[14], p.descInsulin[15]),
            std::tuple("Regular", "Protaphan", "Lispro", ""));
}

// wizard_test.cpp offers the key with and without the vendor's driver.
TEST_F(MeterProfileTest, IrKeyOnlyForItsModelsWithTheDriverInstalled) {
  hives.SetMachineText(kIrKeyDriverKey, "driver", "rdcom32.dll");
  hives.SetMachineText(kKey, "UseIRKey", "1");  // read from the user hive only
  EXPECT_EQ(Load(17).irKeyValue, 0);
  hives.SetUserText(kKey, "UseIRKey", "1");
  for (int16_t model : std::initializer_list<int16_t>{12, 17, 49, 18, 0, 13}) {
    EXPECT_EQ(Load(model).irKeyVisible, model == 12 || model == 17 || model == 49) << model;
  }
}

TEST(LaboratoryKinds, NumbersOrTheDefaultList) {
  const std::vector<int16_t> defaults = {2, 3, 5, 6, 9, 10, 16, 18};
  EXPECT_EQ(LaboratoryKinds(""), defaults);
  EXPECT_EQ(LaboratoryKinds("none"), defaults);
  EXPECT_EQ(LaboratoryKinds("2,3;5 6  ,,9"), (std::vector<int16_t>{2, 3, 5, 6, 9}));
  EXPECT_EQ(LaboratoryKinds("2, x, 18"), (std::vector<int16_t>{2, 18}));
}

}  // namespace
}  // namespace mi

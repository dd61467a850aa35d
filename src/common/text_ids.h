#pragma once

// Every text number that the module fetches from the language module, with
// what it is for. Each shipped catalogue holds all of `kAllTextIds`.
//
// Button texts are "caption|tooltip" (either half may be empty, the "|" with
// the tool tip may be missing). "%1" marks where an argument goes.

#include <array>
#include <cstddef>
#include <cstdint>

namespace mi {

// ---- Messages --------------------------------------------------------------

// No connection to the meter could be made (message with the stop icon).
inline constexpr int16_t kTextNoConnection = 642;
// No port is checked on the port page: the user is asked to choose one.
inline constexpr int16_t kTextChoosePort = 649;
// The port cannot be opened; the code appends "COM:", the number and " ---> ".
inline constexpr int16_t kTextPortCannotOpen = 1203;
// No serial port could be found (plain message, OK only).
inline constexpr int16_t kTextNoSerialPort = 1215;
// Information about the USB driver; %1 = the driver's name.
inline constexpr int16_t kTextUsbDriverInfo = 1256;
// A settings hive cannot be read (%1 = its file), then one of the four
// texts after it on what to do: a change cut off by a crash (%1 = the
// command that undoes it), another program's lock, no permission to read it,
// a damaged file or one that is no hive.
inline constexpr int16_t kTextSettingsUnreadable = 1350;
inline constexpr int16_t kTextSettingsCutOff = 1351;
inline constexpr int16_t kTextSettingsLocked = 1352;
inline constexpr int16_t kTextSettingsNoAccess = 1353;
inline constexpr int16_t kTextSettingsDamaged = 1354;
// The line added where this user may not open a serial port; %1 = the group
// that may (dialout).
inline constexpr int16_t kTextPortPermission = 1355;

// ---- Diary events ----------------------------------------------------------

// The 30 diary events offered in the event-mapping combo boxes; item index i
// (0..29) has text 800 + i, and 800 is "no event".
inline constexpr int16_t kTextEventFirst = 800;
inline constexpr int16_t kTextEventLast = 829;
inline constexpr int kDiaryEventCount = kTextEventLast - kTextEventFirst + 1;
constexpr int16_t EventTextId(int index) {
  return static_cast<int16_t>(kTextEventFirst + index);
}

// ---- Status and wizard -----------------------------------------------------

// The task title and first status; %1 = the meter's description.
inline constexpr int16_t kTextImportTitle = 1201;
// The wizard window's caption.
inline constexpr int16_t kTextWizardCaption = 1257;
// Introduction heading and text (lblintro).
inline constexpr int16_t kTextIntroHeading = 1237;
inline constexpr int16_t kTextIntro = 1238;
// Instruction on the port page.
inline constexpr int16_t kTextPortInstruction = 1239;
// Hint to switch the meter on (lblOn).
inline constexpr int16_t kTextSwitchOn = 1240;
// Step guide while the transfer runs (lblStepGuide).
inline constexpr int16_t kTextStepGuide = 1241;
// Heading of the result screen.
inline constexpr int16_t kTextResultHeading = 1242;
// Caption of the setup area (frameSetup).
inline constexpr int16_t kTextSetupFrame = 1243;
// Captions of the result rows.
inline constexpr int16_t kTextResultGlucose = 1244;
inline constexpr int16_t kTextResultInsulin = 1245;
inline constexpr int16_t kTextResultMeals = 1246;
inline constexpr int16_t kTextResultExercise = 1247;
inline constexpr int16_t kTextResultLaboratory = 1248;
// "Meter:" caption before lblMeterID.
inline constexpr int16_t kTextMeterCaption = 1249;
// Status line while the meter's memory is read.
inline constexpr int16_t kTextReading = 1255;
// Caption of the infrared-key check box (chkUseIRKey).
inline constexpr int16_t kTextIrKey = 1381;
// The line on the result screen when something was lost on the way, and the
// heading of its details.
inline constexpr int16_t kTextLossNotice = 1285;
inline constexpr int16_t kTextLossDetails = 1287;

// ---- The reading and the result ----------------------------------------------

// Beside the transfer's bar: the category being read (glucose, insulin,
// meals, exercise, laboratory: kTextReadingFirst + its slot), followed by its
// number among those imported, "(%1 of %2)".
inline constexpr int16_t kTextReadingFirst = 1400;
inline constexpr int16_t kTextReadingCount = 1405;
// The status line once the person has cancelled while the meter is read or
// the files are written.
inline constexpr int16_t kTextCancelling = 1406;
// What reached the import folder of a category, beside its figure: saved,
// partly saved, not saved, nothing decoded, nothing to import.
inline constexpr int16_t kTextOutcomeFirst = 1407;
inline constexpr int kOutcomeTextCount = 5;
// The causes of a loss on the result screen, one sentence each: the meter
// could not be read completely; entries could not be decoded; decoded
// entries were not written; files could not be saved in the folder %1, then
// the reason: no permission, the disk full, another import writing into it.
inline constexpr int16_t kTextCauseRead = 1412;
inline constexpr int16_t kTextCauseDecode = 1413;
inline constexpr int16_t kTextCauseNotWritten = 1414;
inline constexpr int16_t kTextCauseSave = 1415;
inline constexpr int16_t kTextReasonNoPermission = 1416;
inline constexpr int16_t kTextReasonDiskFull = 1417;
inline constexpr int16_t kTextReasonBusy = 1418;
// A loss in the details, after its category: %1 entries not read, the
// entries not read (their number unknown), %1 not decoded, %1 decoded and
// not written, %1 not saved, %1 not written because the import was cancelled.
inline constexpr int16_t kTextLossRead = 1419;
inline constexpr int16_t kTextLossReadUncounted = 1420;
inline constexpr int16_t kTextLossDecode = 1421;
inline constexpr int16_t kTextLossNotWritten = 1422;
inline constexpr int16_t kTextLossNotSaved = 1423;
inline constexpr int16_t kTextLossCancelled = 1424;

// ---- Buttons ("caption|tooltip") ---------------------------------------------

inline constexpr int16_t kTextNext = 1250;       // cmdNext
inline constexpr int16_t kTextCancel = 1251;     // cmdCancel
inline constexpr int16_t kTextHelp = 1252;       // cmdHelp
inline constexpr int16_t kTextSetup = 1253;      // cmdSetup
inline constexpr int16_t kTextUsbInfo = 1254;    // cmdUSBInfo
inline constexpr int16_t kTextResultNext = 908;  // cmdNext on the result screen
inline constexpr int16_t kTextDetails = 1286;    // cmdDetails on the result screen

// ---- Insulin types and the setup dialogs -------------------------------------

// The own name of insulin type N (1..14) is text 1262 + N: 1..9 the premixes
// 10/90 to 90/10, 10 regular, 11 NPH, 12 Lente, 13 Ultralente, 14 Humalog.
inline constexpr int16_t kTextInsulinTypeBase = 1262;
inline constexpr int kInsulinTypeCount = 14;
inline constexpr int16_t kTextInsulinTypeFirst = kTextInsulinTypeBase + 1;
inline constexpr int16_t kTextInsulinTypeLast = kTextInsulinTypeBase + kInsulinTypeCount;
constexpr int16_t InsulinTypeTextId(int type) {
  return static_cast<int16_t>(kTextInsulinTypeBase + type);
}
// The meters with two insulins know type 1 (regular) and 2 (NPH): the common
// types 10 and 11, so their own names are text 1271 + N.
inline constexpr int16_t kTextTwoInsulinTypeBase = kTextInsulinTypeBase + 9;
// Prefix of an insulin list line in the two-type setup dialogs (then N).
inline constexpr int16_t kTextInsulinListPrefix = 1277;
// Prompt (%1 = the type's own name) and title of the box that renames an insulin.
inline constexpr int16_t kTextRenameInsulinPrompt = 1278;
inline constexpr int16_t kTextRenameInsulinTitle = 1279;
// Caption of the setup dialogs.
inline constexpr int16_t kTextSetupCaption = 1280;
// The setup dialogs' tabs: "general|insulin|ketones" for the Accu-Chek
// Complete, "general|insulin|events|more events" for the other two.
inline constexpr int16_t kTextSetupTabsKetones = 1300;
inline constexpr int16_t kTextSetupTabsEvents = 1301;
// Heading over the category check boxes, then their captions in the order
// glucose, insulin, pump boluses, meals, exercise, laboratory values.
inline constexpr int16_t kTextSetupFetch = 1302;
inline constexpr int16_t kTextSetupCheckGlucose = 1303;
inline constexpr int16_t kTextSetupCheckInsulin = 1304;
inline constexpr int16_t kTextSetupCheckPump = 1305;
inline constexpr int16_t kTextSetupCheckMeals = 1306;
inline constexpr int16_t kTextSetupCheckExercise = 1307;
inline constexpr int16_t kTextSetupCheckLab = 1308;
// How food is stored: heading, grams, bread units; "1 BU =", 10 g, 12 g.
inline constexpr int16_t kTextSetupFood = 1309;
inline constexpr int16_t kTextSetupGrams = 1310;
inline constexpr int16_t kTextSetupBreadUnits = 1311;
inline constexpr int16_t kTextSetupBreadUnitIs = 1312;
inline constexpr int16_t kTextSetupTenGrams = 1313;
inline constexpr int16_t kTextSetupTwelveGrams = 1314;
// The insulin names: heading, change, reset ("caption|tooltip").
inline constexpr int16_t kTextSetupInsulinNames = 1315;
inline constexpr int16_t kTextSetupChange = 1316;
inline constexpr int16_t kTextSetupReset = 1317;
// The ketone classes: heading, then negative, trace, small, moderate,
// large, and the unit.
inline constexpr int16_t kTextSetupKetones = 1318;
inline constexpr int16_t kTextSetupKetoneFirst = 1319;
inline constexpr int16_t kTextSetupUnit = 1324;
// OK of the setup dialogs ("caption|tooltip").
inline constexpr int16_t kTextSetupOk = 1325;
// The event translation: heading, and a meter event's label (%1 = its
// number).
inline constexpr int16_t kTextSetupEvents = 1326;
inline constexpr int16_t kTextSetupMeterEvent = 1327;

// ---- Help, Qt's own texts, accessibility ------------------------------------

// The language of Qt's own texts (standard buttons, input boxes, the help
// window's menus): the code of Qt's translation files ("en", "de").
inline constexpr int16_t kTextQtLanguage = 1340;
// The help window: its title and its close button ("caption|tooltip").
inline constexpr int16_t kTextHelpTitle = 1341;
inline constexpr int16_t kTextHelpClose = 1342;
// The names that screen readers give the controls without a caption: the
// two bars of the transfer and the port list.
inline constexpr int16_t kTextReadingBar = 1343;
inline constexpr int16_t kTextWritingBar = 1344;
inline constexpr int16_t kTextPortList = 1345;

namespace text_ids_detail {

inline constexpr int16_t kSingleIds[] = {
    kTextNoConnection,
    kTextChoosePort,
    kTextResultNext,
    kTextImportTitle,
    kTextPortCannotOpen,
    kTextNoSerialPort,
    kTextIntroHeading,
    kTextIntro,
    kTextPortInstruction,
    kTextSwitchOn,
    kTextStepGuide,
    kTextResultHeading,
    kTextSetupFrame,
    kTextResultGlucose,
    kTextResultInsulin,
    kTextResultMeals,
    kTextResultExercise,
    kTextResultLaboratory,
    kTextMeterCaption,
    kTextNext,
    kTextCancel,
    kTextHelp,
    kTextSetup,
    kTextUsbInfo,
    kTextReading,
    kTextUsbDriverInfo,
    kTextSettingsUnreadable,
    kTextSettingsCutOff,
    kTextSettingsLocked,
    kTextSettingsNoAccess,
    kTextSettingsDamaged,
    kTextPortPermission,
    kTextWizardCaption,
    kTextInsulinListPrefix,
    kTextRenameInsulinPrompt,
    kTextRenameInsulinTitle,
    kTextSetupCaption,
    kTextSetupTabsKetones,
    kTextSetupTabsEvents,
    kTextSetupFetch,
    kTextSetupCheckGlucose,
    kTextSetupCheckInsulin,
    kTextSetupCheckPump,
    kTextSetupCheckMeals,
    kTextSetupCheckExercise,
    kTextSetupCheckLab,
    kTextSetupFood,
    kTextSetupGrams,
    kTextSetupBreadUnits,
    kTextSetupBreadUnitIs,
    kTextSetupTenGrams,
    kTextSetupTwelveGrams,
    kTextSetupInsulinNames,
    kTextSetupChange,
    kTextSetupReset,
    kTextSetupKetones,
    kTextSetupKetoneFirst,
    kTextSetupKetoneFirst + 1,
    kTextSetupKetoneFirst + 2,
    kTextSetupKetoneFirst + 3,
    kTextSetupKetoneFirst + 4,
    kTextSetupUnit,
    kTextSetupOk,
    kTextSetupEvents,
    kTextSetupMeterEvent,
    kTextIrKey,
    kTextLossNotice,
    kTextDetails,
    kTextLossDetails,
    kTextReadingFirst,
    kTextReadingFirst + 1,
    kTextReadingFirst + 2,
    kTextReadingFirst + 3,
    kTextReadingFirst + 4,
    kTextReadingCount,
    kTextCancelling,
    kTextOutcomeFirst,
    kTextOutcomeFirst + 1,
    kTextOutcomeFirst + 2,
    kTextOutcomeFirst + 3,
    kTextOutcomeFirst + 4,
    kTextCauseRead,
    kTextCauseDecode,
    kTextCauseNotWritten,
    kTextCauseSave,
    kTextReasonNoPermission,
    kTextReasonDiskFull,
    kTextReasonBusy,
    kTextLossRead,
    kTextLossReadUncounted,
    kTextLossDecode,
    kTextLossNotWritten,
    kTextLossNotSaved,
    kTextLossCancelled,
    kTextQtLanguage,
    kTextHelpTitle,
    kTextHelpClose,
    kTextReadingBar,
    kTextWritingBar,
    kTextPortList,
};

inline constexpr size_t kCount =
    std::size(kSingleIds) + static_cast<size_t>(kDiaryEventCount + kInsulinTypeCount);

consteval std::array<int16_t, kCount> Build() {
  std::array<int16_t, kCount> ids{};
  size_t at = 0;
  for (const int16_t id : kSingleIds) ids[at++] = id;
  for (int i = 0; i < kDiaryEventCount; ++i) ids[at++] = EventTextId(i);
  for (int n = 1; n <= kInsulinTypeCount; ++n) ids[at++] = InsulinTypeTextId(n);
  // Ascending order, so that lists and reports read naturally.
  for (size_t i = 1; i < kCount; ++i) {
    for (size_t k = i; k > 0 && ids[k - 1] > ids[k]; --k) {
      const int16_t swap = ids[k];
      ids[k] = ids[k - 1];
      ids[k - 1] = swap;
    }
  }
  return ids;
}

}  // namespace text_ids_detail

// Every text number above, ranges expanded, in ascending order.
inline constexpr std::array<int16_t, text_ids_detail::kCount> kAllTextIds =
    text_ids_detail::Build();

}  // namespace mi

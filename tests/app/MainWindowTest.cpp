// The main window without a host: its form, the binding to the parameter set, the settings
// file, the parameter commands and the error dialogs.
#include "app/MainWindow.h"

#include <gtest/gtest.h>

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFileInfo>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <stdexcept>

#include "app/RfaErrorDialogs.h"
#include "app/RfaParameterFiles.h"
#include "app/RfaParametersBind.h"
#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestUtil.h"
#include "ui_MainWindow.h"

namespace {

class MainWindowTest : public ::testing::Test, public RfaWorkDirFixture {
 protected:
  // Lets the 10 ms start-up timer fire.
  static void RunStartup() { QTest::qWait(40); }
  static RfaParameters& Params() { return RfaParameters::Instance(); }
};

// --- the form ---

struct TextCase {
  const char* objectName;
  const char* text;
};

class MainWindowTextTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(MainWindowTextTest, WidgetCarriesItsCaption) {
  MainWindow window;
  auto* button = window.findChild<QAbstractButton*>(GetParam().objectName);
  ASSERT_NE(button, nullptr) << GetParam().objectName;
  EXPECT_EQ(button->text(), QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Buttons, MainWindowTextTest,
    ::testing::Values(
        TextCase{"pushButton_7", "1) Move to center"}, TextCase{"pushButton_5", "2) Remove BG"},
        TextCase{"pushButton", "3) Remove Az. BG"}, TextCase{"pushButton_9", "4) Mask MCP dip"},
        TextCase{"pushButton_11", "5) Mask Outside"},
        TextCase{"pushButton_8", "New Image (Apply checked operations)"},
        TextCase{"pushButton_2", "Adjust Screen"}, TextCase{"pushButton_6", "Draw screen"},
        TextCase{"pushButton_10", "Draw dip"}, TextCase{"pushButton_4", "Draw Mask"},
        TextCase{"pushButton_12", "Update Mask"}, TextCase{"pushButton_3", "Cancel"},
        TextCase{"cbMoveCenter", "Move Image to Center"},
        TextCase{"cbBgSh", "BG by spherical harmonics"},
        TextCase{"cbBgAz", "BG by Azimuthal average"},
        TextCase{"cbMaskMcpDip", "Mask region of MCP DIP"},
        TextCase{"cbMaskOutside", "Mask outside region"}, TextCase{"cbShowTmp", "Show Temp."}));

struct SpinCase {
  const char* objectName;
  int decimals;  // -1: integer spin box
  double minimum, maximum, step, value;
};

class MainWindowSpinTest : public ::testing::TestWithParam<SpinCase> {};

TEST_P(MainWindowSpinTest, SpinBoxHasItsFormSettings) {
  MainWindow window;  // the start-up timer never fires: no event loop runs here
  const SpinCase& c = GetParam();
  if (c.decimals < 0) {
    auto* box = window.findChild<QSpinBox*>(c.objectName);
    ASSERT_NE(box, nullptr) << c.objectName;
    EXPECT_EQ(box->minimum(), c.minimum);
    EXPECT_EQ(box->maximum(), c.maximum);
    EXPECT_EQ(box->value(), c.value);
  } else {
    auto* box = window.findChild<QDoubleSpinBox*>(c.objectName);
    ASSERT_NE(box, nullptr) << c.objectName;
    EXPECT_EQ(box->decimals(), c.decimals);
    EXPECT_DOUBLE_EQ(box->minimum(), c.minimum);
    EXPECT_DOUBLE_EQ(box->maximum(), c.maximum);
    EXPECT_DOUBLE_EQ(box->singleStep(), c.step);
    EXPECT_DOUBLE_EQ(box->value(), c.value);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Panel, MainWindowSpinTest,
    ::testing::Values(
        SpinCase{"dspSx", 1, 0, 1000, 1, 128}, SpinCase{"dspSy", 1, 0, 1000, 1, 122},
        SpinCase{"dspSr", 1, 0, 1000, 1, 126}, SpinCase{"spMargin", -1, 0, 99, 1, 10},
        SpinCase{"dsbThres", 2, 0.01, 99.99, 1, 0.1}, SpinCase{"sbAdjSize", -1, 1, 10, 1, 1},
        SpinCase{"spSizel", -1, 0, 99, 1, 5}, SpinCase{"dspMaxAngle", 1, 0, 100, 1, 90},
        SpinCase{"dsbAx", 1, 0, 1000, 0.5, 128}, SpinCase{"dsbAy", 1, 0, 1000, 0.5, 128},
        SpinCase{"dsbDipCx", 1, 0, 100000, 0.5, 0}, SpinCase{"dsbDipCy", 1, 0, 100000, 0.5, 0},
        SpinCase{"dsbDipR", 1, 0, 100000, 0.5, 0}, SpinCase{"sbMaskCx", -1, 0, 10000, 1, 0},
        SpinCase{"sbMaskCy", -1, 0, 10000, 1, 0}, SpinCase{"sbMaskRx", -1, 0, 100000, 1, 0},
        SpinCase{"sbMaskRy", -1, 0, 10000, 1, 0}));

TEST(MainWindowForm, TitleMenuAndInitialChecks) {
  MainWindow window;
  EXPECT_EQ(window.windowTitle(), "RFA: Background: Spherical Harmonics");
  auto* load = window.findChild<QAction*>("actionLoad_parameters");
  auto* save = window.findChild<QAction*>("actionSave_Parameters");
  ASSERT_NE(load, nullptr);
  ASSERT_NE(save, nullptr);
  EXPECT_EQ(load->text(), "Load Parameters");
  EXPECT_EQ(save->text(), "Save Parameters");
  EXPECT_EQ(window.Form()->menuFile->title(), "File");
  EXPECT_TRUE(window.Form()->cbMoveCenter->isChecked());
  EXPECT_FALSE(window.Form()->cbBgSh->isChecked());
  EXPECT_EQ(window.Form()->label_15->text(), QString(QChar(0x2191)));
}

// --- binding ---

TEST_F(MainWindowTest, BindCopiesEveryFieldBothWays) {
  MainWindow window;
  RfaParameters& p = Params();
  p = RfaDistinctParameters();
  p.MappingIsAzM2 = false;
  window.FillPanel();
  EXPECT_TRUE(p.MappingIsAzM2);
  // Filling fires the value-changed slots; they must not read the half-filled panel back.
  EXPECT_EQ(RfaStoredText(p), RfaStoredText(RfaDistinctParameters()));

  p = RfaParameters();
  p.MappingIsAzM2 = false;
  p.Bind(true, window.Form());
  EXPECT_TRUE(p.MappingIsAzM2);
  // The fields without a widget keep their defaults (see below); every other one is read.
  RfaParameters expected = RfaDistinctParameters();
  expected.MappingIsGnomonic = expected.MappingIsAz = expected.UseAllSphere = false;
  EXPECT_EQ(RfaStoredText(p), RfaStoredText(expected));
}

TEST_F(MainWindowTest, BindLeavesFieldsWithoutWidgetAlone) {
  MainWindow window;
  Params().MappingIsGnomonic = true;
  Params().MappingIsAz = true;
  Params().UseAllSphere = true;
  Params().Bind(true, window.Form());
  EXPECT_TRUE(Params().MappingIsGnomonic);
  EXPECT_TRUE(Params().MappingIsAz);
  EXPECT_TRUE(Params().UseAllSphere);
}

struct RoundCase {
  double field;
  int spinBox;
};

class MainWindowRoundTest : public ::testing::TestWithParam<RoundCase>, public RfaWorkDirFixture {};

TEST_P(MainWindowRoundTest, MaskSpinBoxesRoundToNearest) {
  MainWindow window;
  RfaParameters& p = RfaParameters::Instance();
  p.MaskCx = p.MaskCy = p.MaskRx = p.MaskRy = GetParam().field;
  window.FillPanel();
  // The fractional value stays in the parameters until the panel is read.
  EXPECT_EQ(p.MaskCx, GetParam().field);
  EXPECT_EQ(window.Form()->sbMaskCx->value(), GetParam().spinBox);
  EXPECT_EQ(window.Form()->sbMaskRy->value(), GetParam().spinBox);
  p.Bind(true, window.Form());
  EXPECT_EQ(p.MaskCx, static_cast<double>(GetParam().spinBox));
  EXPECT_EQ(p.MaskRx, static_cast<double>(GetParam().spinBox));
}

INSTANTIATE_TEST_SUITE_P(Values, MainWindowRoundTest,
                         ::testing::Values(RoundCase{150.6, 151}, RoundCase{150.4, 150},
                                           RoundCase{150.5, 150}, RoundCase{151.5, 152},
                                           RoundCase{-3.0, 0}, RoundCase{9999.7, 10000}));

TEST_F(MainWindowTest, FractionalMaskFromFileShowsRoundedAndIsStoredRounded) {
  ASSERT_TRUE(WriteAll(Path("m.rfa_bg"), "<ini><MaskCx_>150.6</MaskCx_>\n</ini>\n"));
  MainWindow window;
  RfaSetOpenDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return QStringList{Path("m.rfa_bg")};
  });
  window.Form()->actionLoad_parameters->trigger();
  EXPECT_EQ(window.Form()->sbMaskCx->value(), 151);
  EXPECT_EQ(Params().MaskCx, 150.6);
  window.ReadPanel();
  EXPECT_EQ(Params().MaskCx, 151.0);
}

// --- settings file ---

TEST_F(MainWindowTest, StartupLoadsTheSettingsFileIntoThePanel) {
  RfaParameters stored;
  stored.Sx = 77.5;
  stored.IsBgAz = false;
  RfaSaveParameterFile(stored, Path("settings.ini"));
  MainWindow window;
  RunStartup();
  EXPECT_DOUBLE_EQ(window.Form()->dspSx->value(), 77.5);
  EXPECT_FALSE(window.Form()->cbBgAz->isChecked());
  EXPECT_DOUBLE_EQ(window.Form()->dspSy->value(), 100.0);
}

struct BadSettings {
  const char* name;
  const char* content;  // nullptr: no file
};

class MainWindowBadSettingsTest : public ::testing::TestWithParam<BadSettings>,
                                  public RfaWorkDirFixture {};

TEST_P(MainWindowBadSettingsTest, StartupKeepsDefaultsAndShowsNothing) {
  if (GetParam().content != nullptr) {
    ASSERT_TRUE(WriteAll("settings.ini", GetParam().content));
  }
  RfaModalBoxAnswerer answerer;
  MainWindow window;
  QTest::qWait(40);
  EXPECT_TRUE(answerer.Seen().empty());
  EXPECT_DOUBLE_EQ(window.Form()->dspSx->value(), 100.0);
  EXPECT_DOUBLE_EQ(window.Form()->dsbDipCx->value(), 166.0);
  EXPECT_EQ(window.Form()->sbMaskRx->value(), 128);
}

INSTANTIATE_TEST_SUITE_P(Files, MainWindowBadSettingsTest,
                         ::testing::Values(BadSettings{"missing", nullptr},
                                           BadSettings{"unbalanced", "<ini><Sx_"},
                                           BadSettings{"empty", ""}),
                         ZrCaseName());

TEST_F(MainWindowTest, EveryPanelChangeRewritesTheSettingsFile) {
  MainWindow window;
  RunStartup();
  window.Form()->dspSr->setValue(99.5);
  RfaParameters stored;
  RfaLoadParameterFile(stored, Path("settings.ini"));
  EXPECT_EQ(stored.Sr, 99.5);
  window.Form()->cbMaskOutside->setChecked(false);
  RfaLoadParameterFile(stored, Path("settings.ini"));
  EXPECT_FALSE(stored.IsMaskOutside);
  EXPECT_FALSE(Params().IsMaskOutside);
  window.Form()->sbMaskRx->setValue(200);
  RfaLoadParameterFile(stored, Path("settings.ini"));
  EXPECT_EQ(stored.MaskRx, 200.0);
}

// --- parameter commands ---

TEST_F(MainWindowTest, SaveParametersWritesThePanelThroughTheSaveDialog) {
  MainWindow window;
  window.Form()->dsbAx->setValue(33.5);
  DialogCall call;
  RfaSetSaveDialog(
      [&](QWidget*, const QString& caption, const QString& start, const QString& filter) {
        call = {caption, start, filter};
        return Path("saved.rfa_bg");
      });
  window.Form()->actionSave_Parameters->trigger();
  EXPECT_EQ(call.caption, "Save paramtrs");
  EXPECT_EQ(call.startPath, "default/paremeter.rfa_bg");
  EXPECT_EQ(call.filter, "parameter (*.rfa_bg)");
  RfaParameters saved;
  RfaLoadParameterFile(saved, Path("saved.rfa_bg"));
  EXPECT_EQ(saved.Ax, 33.5);
}

TEST_F(MainWindowTest, LoadParametersStartsInTheRememberedDirectory) {
  ASSERT_TRUE(WriteAll("filepath.ini", "/some/where"));
  RfaParameters stored;
  stored.Size_l = 8;
  RfaSaveParameterFile(stored, Path("p.rfa_bg"));
  DialogCall call;
  RfaSetOpenDialog(
      [&](QWidget*, const QString& caption, const QString& dir, const QString& filter) {
        call = {caption, dir, filter};
        return QStringList{Path("p.rfa_bg"), Path("other.rfa_bg")};
      });
  MainWindow window;
  window.Form()->actionLoad_parameters->trigger();
  EXPECT_EQ(call.caption, "Load paramtrs");
  EXPECT_EQ(call.startPath, "/some/where");
  EXPECT_EQ(call.filter, "parameter (*.rfa_bg);;All Files (*.*)");
  EXPECT_EQ(window.Form()->spSizel->value(), 8);
  EXPECT_EQ(ReadAll("filepath.ini"), QFileInfo(Path("p.rfa_bg")).path().toUtf8());
}

TEST_F(MainWindowTest, LoadParametersFailureIsShownInTheErrorBox) {
  RfaSetOpenDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return QStringList{Path("gone.rfa_bg")};
  });
  MainWindow window;
  RfaModalBoxAnswerer answerer;
  window.Form()->actionLoad_parameters->trigger();
  ASSERT_EQ(answerer.Seen().size(), 1u);
  EXPECT_EQ(answerer.Seen()[0].title, "ERROR");
  EXPECT_EQ(answerer.Seen()[0].text, "Cannot open:" + Path("gone.rfa_bg"));
}

TEST_F(MainWindowTest, CancelClosesTheWindow) {
  MainWindow window;
  window.show();
  QTest::mouseClick(window.Form()->pushButton_3, Qt::LeftButton);
  EXPECT_FALSE(window.isVisible());
  EXPECT_TRUE(Params().closing);
}

// --- the button frame and its dialogs ---

struct FrameCase {
  const char* name;
  std::function<void()> action;
  const char* expectedText;  // nullptr: no box
};

class RfaButtonFrameTest : public ::testing::TestWithParam<FrameCase> {};

TEST_P(RfaButtonFrameTest, ShowsTheFailureAndReEnablesTheButton) {
  QPushButton button;
  bool disabledWhileRunning = false;
  RfaModalBoxAnswerer answerer;
  RfaRunButtonFrame(nullptr, &button, [&] {
    disabledWhileRunning = !button.isEnabled();
    GetParam().action();
  });
  EXPECT_TRUE(disabledWhileRunning);
  EXPECT_TRUE(button.isEnabled());
  if (GetParam().expectedText == nullptr) {
    EXPECT_TRUE(answerer.Seen().empty());
  } else {
    ASSERT_EQ(answerer.Seen().size(), 1u);
    EXPECT_EQ(answerer.Seen()[0].title, "ERROR");
    EXPECT_EQ(answerer.Seen()[0].text, QString::fromUtf8(GetParam().expectedText));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Failures, RfaButtonFrameTest,
    ::testing::Values(FrameCase{"none", [] {}, nullptr},
                      FrameCase{"zrerror", [] { throw ZrError("Please select image window"); },
                                "Please select image window"},
                      FrameCase{"std_with_text", [] { throw std::runtime_error("disk full"); },
                                "Undefined error:disk full"},
                      FrameCase{"std_empty", [] { throw std::runtime_error(""); },
                                "Undefined error:Undefined error"},
                      FrameCase{"unknown", [] { throw 42; }, "Undefined error:Undefined error"}),
    ZrCaseName());

TEST(RfaButtonFrame, FrameWithoutButtonStillCatches) {
  RfaModalBoxAnswerer answerer;
  RfaRunButtonFrame(nullptr, nullptr, [] { throw ZrError("x"); });
  ASSERT_EQ(answerer.Texts(), QStringList{"x"});
}

}  // namespace

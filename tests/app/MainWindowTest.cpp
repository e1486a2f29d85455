// The main window without a host: its form, the binding to the parameter set, the settings
// file, the parameter commands and the error dialogs.
#include "app/MainWindow.h"

#include <gtest/gtest.h>

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QFileInfo>
#include <QPushButton>
#include <QTest>
#include <functional>
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

TEST(MainWindowForm, CaptionsTitleMenuAndInitialChecks) {
  MainWindow window;  // the start-up timer never fires: no event loop runs here
  const std::pair<const char*, const char*> captions[] = {
      {"pushButton_7", "1) Move to center"},
      {"pushButton_5", "2) Remove BG"},
      {"pushButton", "3) Remove Az. BG"},
      {"pushButton_9", "4) Mask MCP dip"},
      {"pushButton_11", "5) Mask Outside"},
      {"pushButton_8", "New Image (Apply checked operations)"},
      {"pushButton_2", "Adjust Screen"},
      {"pushButton_6", "Draw screen"},
      {"pushButton_10", "Draw dip"},
      {"pushButton_4", "Draw Mask"},
      {"pushButton_12", "Update Mask"},
      {"pushButton_3", "Cancel"},
      {"cbMoveCenter", "Move Image to Center"},
      {"cbBgSh", "BG by spherical harmonics"},
      {"cbBgAz", "BG by Azimuthal average"},
      {"cbMaskMcpDip", "Mask region of MCP DIP"},
      {"cbMaskOutside", "Mask outside region"},
      {"cbShowTmp", "Show Temp."}};
  for (const auto& [name, text] : captions) {
    auto* button = window.findChild<QAbstractButton*>(name);
    ASSERT_NE(button, nullptr) << name;
    EXPECT_EQ(button->text(), QString::fromUtf8(text)) << name;
  }
  EXPECT_EQ(window.windowTitle(), "RFA: Background: Spherical Harmonics");
  EXPECT_EQ(window.Form()->actionLoad_parameters->text(), "Load Parameters");
  EXPECT_EQ(window.Form()->actionSave_Parameters->text(), "Save Parameters");
  EXPECT_EQ(window.Form()->menuFile->title(), "File");
  EXPECT_TRUE(window.Form()->cbMoveCenter->isChecked());
  EXPECT_FALSE(window.Form()->cbBgSh->isChecked());
  EXPECT_EQ(window.Form()->label_15->text(), QString(QChar(0x2191)));
}

TEST_F(MainWindowTest, BindCopiesEveryFieldBothWays) {
  MainWindow window;
  RfaParameters& p = Params();
  p = RfaDistinctParameters();
  p.MappingIsAzM2 = false;
  window.FillPanel();
  EXPECT_TRUE(p.MappingIsAzM2);
  // Filling fires the value-changed slots; they must not read the half-filled panel back.
  EXPECT_EQ(RfaParameterFileText(p), RfaParameterFileText(RfaDistinctParameters()));

  // Reading the panel back: every field with a widget is read, the three without one keep
  // whatever they hold.
  p = RfaParameters();
  p.MappingIsAzM2 = false;
  p.MappingIsGnomonic = p.UseAllSphere = true;
  p.Bind(true, window.Form());
  EXPECT_TRUE(p.MappingIsAzM2);
  RfaParameters expected = RfaDistinctParameters();
  expected.MappingIsAz = false;
  EXPECT_EQ(RfaParameterFileText(p), RfaParameterFileText(expected));
}

TEST_F(MainWindowTest, FractionalMaskValuesShowRoundedAndAreReadBackRounded) {
  MainWindow window;
  ASSERT_TRUE(ZrTestWriteFile(File("m.rfa_bg"), "<ini><MaskCx_>150.6</MaskCx_>\n</ini>\n"));
  RfaSetOpenDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return QStringList{Path("m.rfa_bg")};
  });
  window.Form()->actionLoad_parameters->trigger();
  EXPECT_EQ(window.Form()->sbMaskCx->value(), 151);
  EXPECT_EQ(Params().MaskCx, 150.6);  // kept until the panel is read
  window.ReadPanel();
  EXPECT_EQ(Params().MaskCx, 151.0);

  // To the nearest, ties to even, clamped to the widget's range.
  const std::pair<double, int> cases[] = {
      {150.4, 150}, {150.5, 150}, {151.5, 152}, {-3.0, 0}, {9999.7, 10000}};
  for (const auto& [field, shown] : cases) {
    SCOPED_TRACE(field);
    RfaParameters& p = Params();
    p.MaskCx = p.MaskCy = p.MaskRx = p.MaskRy = field;
    window.FillPanel();
    EXPECT_EQ(p.MaskCx, field);
    p.Bind(true, window.Form());
    EXPECT_EQ(std::make_tuple(window.Form()->sbMaskCx->value(), window.Form()->sbMaskRy->value(),
                              p.MaskCx, p.MaskRx),
              std::make_tuple(shown, shown, double(shown), double(shown)));
  }
}

TEST_F(MainWindowTest, StartupLoadsTheSettingsFileAndQuietlySkipsABadOne) {
  struct Case {
    const char* Content;  // nullptr: no file
    double Sx;
    bool BgAz;
  };
  const Case cases[] = {{"<ini><Sx_>77.5</Sx_><IsBgAz_>false</IsBgAz_></ini>", 77.5, false},
                        {nullptr, 100, true},
                        {"<ini><Sx_", 100, true},
                        {"", 100, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Content != nullptr ? c.Content : "no file");
    QFile::remove(Path("settings.ini"));
    ASSERT_TRUE(c.Content == nullptr || ZrTestWriteFile(File("settings.ini"), c.Content));
    Params() = RfaParameters();
    RfaModalBoxAnswerer answerer;
    MainWindow window;
    RunStartup();
    EXPECT_EQ(answerer.Seen(), "");
    // Everything else shows the parameter defaults (Sy, DipCx, MaskRx), not the form's own.
    const Ui::MainWindow* f = window.Form();
    EXPECT_EQ(std::make_tuple(f->dspSx->value(), f->cbBgAz->isChecked(), f->dspSy->value(),
                              f->dsbDipCx->value(), f->sbMaskRx->value()),
              std::make_tuple(c.Sx, c.BgAz, 100.0, 166.0, 128));
  }
}

TEST_F(MainWindowTest, EveryPanelChangeRewritesTheSettingsFile) {
  MainWindow window;
  RunStartup();
  std::string previous = RfaParameterFileText(Params());
  int changes = 0;
  const auto check = [&](QWidget* widget) {
    ++changes;
    RfaParameters stored;
    RfaLoadParameterFile(stored, Path("settings.ini"));
    const std::string now = RfaParameterFileText(Params());
    EXPECT_NE(now, previous) << widget->objectName().toStdString();
    EXPECT_EQ(RfaParameterFileText(stored), now) << widget->objectName().toStdString();
    previous = now;
  };
  for (QAbstractSpinBox* box : window.findChildren<QAbstractSpinBox*>()) {
    box->stepDown();  // no default sits at its minimum
    check(box);
  }
  for (QCheckBox* box : window.findChildren<QCheckBox*>()) {
    box->toggle();
    check(box);
  }
  EXPECT_EQ(changes, 23);  // every spin box and check box of the panel
}

TEST_F(MainWindowTest, LoadSaveAndCancelCommands) {
  ASSERT_TRUE(ZrTestWriteFile("filepath.ini", "/some/where"));
  RfaParameters stored;
  stored.SizeL = 8;
  RfaSaveParameterFile(stored, Path("p.rfa_bg"));
  DialogCall load;
  RfaSetOpenDialog(
      [&](QWidget*, const QString& caption, const QString& dir, const QString& filter) {
        load = {caption, dir, filter};
        return QStringList{Path("p.rfa_bg"), Path("other.rfa_bg")};
      });
  MainWindow window;
  window.Form()->actionLoad_parameters->trigger();
  EXPECT_EQ(load.Text(), "Load paramtrs | /some/where | parameter (*.rfa_bg);;All Files (*.*)");
  EXPECT_EQ(window.Form()->spSizel->value(), 8);
  const QString directory = QFileInfo(Path("p.rfa_bg")).path();
  EXPECT_EQ(ZrTestReadFile("filepath.ini"), directory.toStdString());

  // Saving writes the panel; its dialog starts in the directory just remembered.
  window.Form()->dsbAx->setValue(33.5);
  DialogCall save;
  AnswerSaveDialog(save, Path("saved.rfa_bg"));
  window.Form()->actionSave_Parameters->trigger();
  EXPECT_EQ(save.Text(), "Save paramtrs | " + directory.toStdString() +
                             "/paremeter.rfa_bg | parameter (*.rfa_bg)");
  RfaParameters saved;
  RfaLoadParameterFile(saved, Path("saved.rfa_bg"));
  EXPECT_EQ(std::make_pair(saved.Ax, saved.SizeL), std::make_pair(33.5, 8));

  // A file that cannot be read is shown in the error box.
  RfaSetOpenDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return QStringList{Path("gone.rfa_bg")};
  });
  RfaModalBoxAnswerer answerer;
  window.Form()->actionLoad_parameters->trigger();
  EXPECT_EQ(answerer.Seen(), "ERROR: Cannot open:" + Path("gone.rfa_bg").toStdString());

  window.show();
  QTest::mouseClick(window.Form()->pushButton_3, Qt::LeftButton);  // "Cancel"
  EXPECT_FALSE(window.isVisible());
  EXPECT_TRUE(Params().Closing);
}

TEST(RfaButtonFrame, ShowsTheFailureAndReEnablesTheButton) {
  struct Case {
    std::function<void()> Action;
    const char* Shown;  // "": no box
  };
  const Case cases[] = {
      {[] {}, ""},
      {[] { throw ZrError("Please select image window"); }, "ERROR: Please select image window"},
      {[] { throw std::runtime_error("disk full"); }, "ERROR: Undefined error:disk full"},
      {[] { throw std::runtime_error(""); }, "ERROR: Undefined error:Undefined error"},
      {[] { throw 42; }, "ERROR: Undefined error:Undefined error"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Shown);
    QPushButton button;
    bool disabledWhileRunning = false;
    RfaModalBoxAnswerer answerer;
    RfaRunButtonFrame(nullptr, &button, [&] {
      disabledWhileRunning = !button.isEnabled();
      c.Action();
    });
    EXPECT_TRUE(disabledWhileRunning);
    EXPECT_TRUE(button.isEnabled());
    EXPECT_EQ(answerer.Seen(), c.Shown);
  }
  RfaModalBoxAnswerer answerer;  // without a button it still catches
  RfaRunButtonFrame(nullptr, nullptr, [] { throw ZrError("x"); });
  EXPECT_EQ(answerer.Seen(), "ERROR: x");
}

}  // namespace

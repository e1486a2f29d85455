// The real main window against the reference host (served from a thread of this process):
// buttons clicked through QTest, modal boxes read and answered by the test, and every result
// in the host compared with the library functions run directly on the same image.
#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <memory>

#include "app/MainWindow.h"
#include "app/RfaParameterFiles.h"
#include "imageio/ZrImageFile.h"
#include "refhost/ZrSeriesIndex.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaPipeline.h"
#include "rfa/RfaScreenAdjust.h"
#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/RfaRefHostFixture.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"
#include "ui_MainWindow.h"

namespace {

// A small screen, off-centre, with its dip; small enough to keep every click fast.
ZrFloatMatrix TestScreen(uint32_t seed = 7) {
  RfaSyntheticScreenOptions o = RfaScreenOptions(96, 96, 50, 46, 40, 62, 40, 4, seed);
  o.noise = 0.02;
  return RfaMakeSyntheticScreen(o);
}

// Panel values that suit TestScreen; every value is representable by its widget.
RfaParameters TestParameters() {
  return RfaGeometry(50, 46, 40, 3, 3, 48, 48, 60, 42, 4.5, 48, 48, 38, 37);
}

class RfaEndToEndTest : public ::testing::Test, public RfaWorkDirFixture, public RfaRefHostFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(StartHost());
    window_ = std::make_unique<MainWindow>();
    QTest::qWait(30);  // the start-up timer fills the panel
    window_->Host().SetPort(server_->Port());
    window_->Host().SubConnect();
    SetPanel(TestParameters());
  }

  void TearDown() override {
    window_.reset();
    StopHost();
  }

  void SetPanel(const RfaParameters& p) {
    RfaParameters::Instance() = p;
    window_->FillPanel();
  }

  void Click(const char* button) {
    auto* b = window_->findChild<QPushButton*>(button);
    ASSERT_NE(b, nullptr) << button;
    QTest::mouseClick(b, Qt::LeftButton);
  }

  // Clicks the button and returns the windows it made, in creation order.
  std::vector<int32_t> ClickForWindows(const char* button) {
    const auto before = host_.WindowIds();
    Click(button);
    return NewWindows(before);
  }

  int32_t AddSource(const ZrFloatMatrix& image) {
    return host_.AddImageWindow(image, "screen.rawf");
  }

  // A folder of `count` screens named s0.rawf, s1.rawf, ...
  QString MakeSeriesFolder(int count) {
    QDir().mkpath(Path("series"));
    for (int i = 0; i < count; ++i) {
      ZrImageWrite(Path(QString("series/s%1.rawf").arg(i)).toStdString(),
                   TestScreen(static_cast<uint32_t>(10 + i)));
    }
    return Path("series");
  }

  // A series window of `count` screens, focused.
  int32_t FocusSeries(int count) {
    const int32_t id = host_.LoadSeriesWindow(MakeSeriesFolder(count).toStdString());
    host_.SetFocus(id);
    return id;
  }

  // The save dialog answers with `name` in the working directory, whose folder is made.
  void SaveIndexAs(const QString& name) {
    QDir().mkpath(QFileInfo(Path(name)).path());
    RfaSetSaveDialog([this, name](QWidget*, const QString&, const QString&, const QString&) {
      return Path(name);
    });
  }

  std::unique_ptr<MainWindow> window_;
};

// The chain run directly: what "New Image" must deliver for a source with these keys.
RfaImageRecord ExpectedChain(const ZrFloatMatrix& source, const RfaParameters& p) {
  RfaImageRecord r;
  r.image = source;
  RfaAddLogEntry(r.texts, p, "ApplyCheckedOperations");
  RfaKeyWriter keys(r.doubles, r.texts);
  RfaApplyCheckedOperations(r.image, p, keys);
  return r;
}

TEST_F(RfaEndToEndTest, NewImageWithEveryBoxChecked) {
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  host_.SetFocus(sourceId);
  RfaModalBoxAnswerer answerer;
  const auto made = ClickForWindows("pushButton_8");
  EXPECT_TRUE(answerer.Seen().empty()) << answerer.Texts().join("|").toStdString();
  ASSERT_EQ(made.size(), 1u);
  const ZrRefHostWindow result = Window(made[0]);
  const RfaImageRecord expected = ExpectedChain(source, RfaParameters::Instance());
  EXPECT_TRUE(ZrSameBits(result.image, expected.image));
  EXPECT_EQ(result.keyDouble, expected.doubles);
  EXPECT_EQ(result.keyString, expected.texts);
  // Independent checks: every group is recorded, the dip group keeps the x centre as
  // "CenterY", and the source window is untouched.
  EXPECT_EQ(result.keyDouble.at("MoveToCenter/Sx"), 50.0);
  EXPECT_EQ(result.keyDouble.at("MaskMcpDip/CenterY"), 60.0);
  EXPECT_EQ(result.keyDouble.at("AverageAlong/CenterX"), 48.0);
  EXPECT_EQ(result.image(2, 2), 0.0f);  // outside the mask ellipse
  EXPECT_TRUE(ZrSameBits(Window(sourceId).image, source));
  EXPECT_TRUE(window_->Form()->pushButton_8->isEnabled());
}

TEST_F(RfaEndToEndTest, NewImageWithNoBoxCopiesTheSourceAndAddsTheLog) {
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  RfaParameters p = TestParameters();
  p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
  SetPanel(p);
  // Keys of the source travel along.
  window_->Host().ImageKeyDoubleSet(sourceId, {{"exposure", 2.5}});
  window_->Host().ImageKeyStringSet(sourceId, {{"sample", "Si(111)"}});
  const auto made = ClickForWindows("pushButton_8");
  ASSERT_EQ(made.size(), 1u);
  const ZrRefHostWindow result = Window(made[0]);
  EXPECT_TRUE(ZrSameBits(result.image, source));
  EXPECT_EQ(result.keyDouble, (std::map<std::string, double>{{"exposure", 2.5}}));
  ASSERT_EQ(result.keyString.size(), 2u);
  EXPECT_EQ(result.keyString.at("sample"), "Si(111)");
  const std::string log = result.keyString.at("log");
  EXPECT_NE(log.find("<ver>0.0.5</ver>"), std::string::npos) << log;
  EXPECT_NE(log.find("zr_app_tests"), std::string::npos) << log;
}

TEST_F(RfaEndToEndTest, ImageStepsOnANonImageWindowCreateNothing) {
  host_.SetFocus(host_.LoadSeriesWindow(MakeSeriesFolder(1).toStdString(), "wave"));
  for (const char* button : {"pushButton_8", "pushButton_9", "pushButton_11"}) {
    const auto before = host_.WindowIds();
    RfaModalBoxAnswerer answerer;
    Click(button);
    ASSERT_EQ(answerer.Seen().size(), 1u) << button;
    EXPECT_EQ(answerer.Seen()[0].title, "ERROR") << button;
    EXPECT_EQ(answerer.Seen()[0].text, "Please select image window") << button;
    EXPECT_TRUE(NewWindows(before).empty()) << button;
    EXPECT_TRUE(window_->findChild<QPushButton*>(button)->isEnabled()) << button;
  }
}

TEST_F(RfaEndToEndTest, SeriesYesProcessesAndSavesEveryImageAndTheIndex) {
  const int32_t series = FocusSeries(3);
  QDir().mkpath(Path("out"));
  DialogCall call;
  RfaSetSaveDialog(
      [&](QWidget*, const QString& caption, const QString& start, const QString& filter) {
        call = {caption, start, filter};
        return Path("out/_index.xmlsrs");
      });
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer({QMessageBox::Yes});
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 1u) << answerer.Texts().join("|").toStdString();
  EXPECT_EQ(answerer.Seen()[0].title, "Information");
  EXPECT_EQ(answerer.Seen()[0].text, "Process All images?");
  EXPECT_EQ(call.caption, "Please move to output folder");
  EXPECT_EQ(call.startPath, "default/_index.xmlsrs");
  EXPECT_EQ(call.filter, "index (*.xmlsrs *.*)");
  EXPECT_TRUE(NewWindows(before).empty());

  const ZrRefHostWindow w = Window(series);
  const RfaParameters& p = RfaParameters::Instance();
  for (int i = 0; i < 3; ++i) {
    const QString saved = Path(QString("out/s%1.rawf").arg(i));
    EXPECT_EQ(QFileInfo(QString::fromStdString(w.savedFiles[static_cast<size_t>(i)])),
              QFileInfo(saved));
    const RfaImageRecord expected = ExpectedChain(TestScreen(static_cast<uint32_t>(10 + i)), p);
    EXPECT_TRUE(ZrSameBits(ZrImageRead(saved.toStdString()), expected.image)) << i;
  }
  const ZrSeriesIndex index = ZrSeriesIndexRead(Path("out/_index.xmlsrs").toStdString());
  ASSERT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries[2].file, "s2.rawf");
}

TEST_F(RfaEndToEndTest, SeriesNoProcessesTheShownImageOnly) {
  const int32_t series = FocusSeries(2);
  bool dialogShown = false;
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    dialogShown = true;
    return QString();
  });
  RfaModalBoxAnswerer answerer({QMessageBox::No});
  const auto made = ClickForWindows("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 1u);
  EXPECT_FALSE(dialogShown);
  ASSERT_EQ(made.size(), 1u);
  const RfaImageRecord expected = ExpectedChain(TestScreen(10), RfaParameters::Instance());
  EXPECT_TRUE(ZrSameBits(Window(made[0]).image, expected.image));
  EXPECT_TRUE(Window(series).savedFiles[0].empty());
}

TEST_F(RfaEndToEndTest, CancellingTheBatchKeepsEarlierImagesSaved) {
  const int32_t series = FocusSeries(4);
  SaveIndexAs("out/_index.xmlsrs");
  // Presses the progress dialog's cancel button once the second image has begun.
  QTimer canceller;
  QObject::connect(&canceller, &QTimer::timeout, [&] {
    auto* progress = window_->findChild<QProgressDialog*>();
    if (progress != nullptr && progress->value() >= 1) progress->cancel();
  });
  canceller.start(5);
  RfaModalBoxAnswerer answerer({QMessageBox::Yes, QMessageBox::Ok});
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 2u);
  EXPECT_EQ(answerer.Seen()[1].title, "ERROR");
  EXPECT_EQ(answerer.Seen()[1].text, "Canceled.");
  const ZrRefHostWindow w = Window(series);
  EXPECT_FALSE(w.savedFiles[0].empty());
  EXPECT_TRUE(QFileInfo::exists(Path("out/s0.rawf")));
  EXPECT_TRUE(w.savedFiles[3].empty());
  EXPECT_FALSE(QFileInfo::exists(Path("out/_index.xmlsrs")));
}

TEST_F(RfaEndToEndTest, BatchReportsAnImageThatCannotBeLoaded) {
  const int32_t series = FocusSeries(2);
  QFile::remove(Path("series/s1.rawf"));
  SaveIndexAs("_index.xmlsrs");
  RfaModalBoxAnswerer answerer({QMessageBox::Yes, QMessageBox::Ok});
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 2u);
  EXPECT_EQ(answerer.Seen()[1].text, "File cannot be loaded.");
  EXPECT_FALSE(Window(series).savedFiles[0].empty());
}

TEST_F(RfaEndToEndTest, CancellingTheOutputDialogDoesNothing) {
  FocusSeries(2);
  host_.ClearRequests();
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer({QMessageBox::Yes});
  Click("pushButton_8");
  EXPECT_EQ(answerer.Seen().size(), 1u);
  EXPECT_TRUE(NewWindows(before).empty());
  for (const std::string& request : host_.Requests()) {
    EXPECT_EQ(request.find("SeriesImageIndexSet"), std::string::npos);
  }
}

// --- single-step buttons ---

struct StepCase {
  const char* name;
  const char* button;
  // The images the step must create, computed directly from the source.
  std::vector<ZrFloatMatrix> (*expected)(const ZrFloatMatrix&, const RfaParameters&);
  const char* group;  // a key of the group the step records
};

std::vector<ZrFloatMatrix> MoveExpected(const ZrFloatMatrix& s, const RfaParameters& p) {
  ZrFloatMatrix m = s;
  RfaMoveToCenter(m, p.Sx, p.Sy);
  return {m};
}

std::vector<ZrFloatMatrix> ShExpected(const ZrFloatMatrix& s, const RfaParameters& p) {
  ZrFloatMatrix bg;
  RfaSphericalHarmonicsBackground(bg, p, s);
  return {bg, RfaDivideByBackground(s, bg)};
}

std::vector<ZrFloatMatrix> AzExpected(const ZrFloatMatrix& s, const RfaParameters& p) {
  const ZrFloatMatrix bg =
      RfaAzimuthalAverageBackground(s, static_cast<float>(p.Ax), static_cast<float>(p.Ay), 1.0f);
  return {bg, RfaDivideByBackground(s, bg)};
}

std::vector<ZrFloatMatrix> DipExpected(const ZrFloatMatrix& s, const RfaParameters& p) {
  ZrFloatMatrix m = s;
  RfaMaskMcpDip(m, p.McpDipCx, p.McpDipCy, p.McpDipR);
  return {m};
}

std::vector<ZrFloatMatrix> OutsideExpected(const ZrFloatMatrix& s, const RfaParameters& p) {
  ZrFloatMatrix m = s;
  RfaMaskOutside(m, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
  return {m};
}

class RfaStepButtonTest : public RfaEndToEndTest, public ::testing::WithParamInterface<StepCase> {};

TEST_P(RfaStepButtonTest, CreatesItsWindowsWithSourceKeysAndItsGroup) {
  // The step works on the raw screen, so centre the panel values on it.
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  window_->Host().ImageKeyDoubleSet(sourceId, {{"exposure", 2.5}});
  RfaModalBoxAnswerer answerer;
  const auto made = ClickForWindows(GetParam().button);
  EXPECT_TRUE(answerer.Seen().empty()) << answerer.Texts().join("|").toStdString();
  const std::vector<ZrFloatMatrix> expected =
      GetParam().expected(source, RfaParameters::Instance());
  ASSERT_EQ(made.size(), expected.size());
  for (size_t i = 0; i < made.size(); ++i) {
    const ZrRefHostWindow w = Window(made[i]);
    EXPECT_TRUE(ZrSameBits(w.image, expected[i])) << i;
    EXPECT_EQ(w.keyDouble.at("exposure"), 2.5);
    EXPECT_EQ(w.keyDouble.count(GetParam().group) + w.keyString.count(GetParam().group), 1u)
        << GetParam().group;
  }
  EXPECT_TRUE(ZrSameBits(Window(sourceId).image, source));
}

INSTANTIATE_TEST_SUITE_P(
    Buttons, RfaStepButtonTest,
    ::testing::Values(
        StepCase{"Move", "pushButton_7", MoveExpected, "MoveToCenter/Sy"},
        StepCase{"RemoveBg", "pushButton_5", ShExpected, "RFA_background/MappingAzThetaMax_deg"},
        StepCase{"RemoveAzBg", "pushButton", AzExpected, "AverageAlong/CenterY"},
        StepCase{"MaskDip", "pushButton_9", DipExpected, "MaskMcpDip/Radius"},
        StepCase{"MaskOutside", "pushButton_11", OutsideExpected, "MaskOutside/RadiusOfY"}),
    ZrCaseName());

TEST_F(RfaEndToEndTest, MoveToCenterOutlinesScreenAndFitDiscAtTheImageCentre) {
  host_.SetFocus(AddSource(TestScreen()));
  const auto made = ClickForWindows("pushButton_7");
  ASSERT_EQ(made.size(), 1u);
  const ZrRefHostWindow w = Window(made[0]);
  ASSERT_EQ(w.regions.size(), 2u);
  std::vector<float> widths;
  for (const auto& region : w.regions) {
    EXPECT_EQ(region.second.regionType, "ELLIPSE");
    EXPECT_EQ(region.second.cx, 48.0f);
    EXPECT_EQ(region.second.cy, 48.0f);
    EXPECT_EQ(region.second.w, region.second.h);
    widths.push_back(region.second.w);
  }
  std::sort(widths.begin(), widths.end());
  EXPECT_EQ(widths, (std::vector<float>{74.0f, 80.0f}));  // 2 (Sr - SMargin), 2 Sr
}

// --- outlines ---

struct DrawCase {
  const char* name;
  const char* button;
  float cx, cy, w, h;
};

class RfaDrawButtonTest : public RfaEndToEndTest, public ::testing::WithParamInterface<DrawCase> {};

TEST_P(RfaDrawButtonTest, ReplacesTheRegionsByOneEllipse) {
  const int32_t id = AddSource(TestScreen());
  ZrRegion old;
  old.regionType = "RECTANGLE";
  window_->Host().RegionAdd(id, old);
  Click(GetParam().button);
  const ZrRefHostWindow w = Window(id);
  ASSERT_EQ(w.regions.size(), 1u);
  const ZrRegion& r = w.regions.begin()->second;
  EXPECT_EQ(r.regionType, "ELLIPSE");
  EXPECT_EQ(r.cx, GetParam().cx);
  EXPECT_EQ(r.cy, GetParam().cy);
  EXPECT_EQ(r.w, GetParam().w);
  EXPECT_EQ(r.h, GetParam().h);
}

INSTANTIATE_TEST_SUITE_P(Buttons, RfaDrawButtonTest,
                         ::testing::Values(DrawCase{"Screen", "pushButton_6", 50, 46, 80, 80},
                                           DrawCase{"Dip", "pushButton_10", 60, 42, 9, 9},
                                           DrawCase{"Mask", "pushButton_4", 48, 48, 76, 74}),
                         ZrCaseName());

TEST_F(RfaEndToEndTest, UpdateMaskTakesTheDipFromTheOnlyRegion) {
  const int32_t id = AddSource(TestScreen());
  ZrRegion dip;
  dip.regionType = "ELLIPSE";
  dip.cx = 20.5f;
  dip.cy = 25;
  dip.w = 8;
  dip.h = 12;
  window_->Host().RegionAdd(id, dip);
  RfaModalBoxAnswerer answerer;
  Click("pushButton_12");
  EXPECT_TRUE(answerer.Seen().empty());
  EXPECT_DOUBLE_EQ(window_->Form()->dsbDipCx->value(), 20.5);
  EXPECT_DOUBLE_EQ(window_->Form()->dsbDipCy->value(), 25.0);
  EXPECT_DOUBLE_EQ(window_->Form()->dsbDipR->value(), 5.0);
}

TEST_F(RfaEndToEndTest, UpdateMaskRefusesNoneOrSeveralRegions) {
  const int32_t id = AddSource(TestScreen());
  for (int regions = 0; regions < 3; regions += 2) {
    for (int i = 0; i < regions; ++i) window_->Host().RegionAdd(id, ZrRegion());
    RfaModalBoxAnswerer answerer;
    Click("pushButton_12");
    EXPECT_EQ(answerer.Texts(), QStringList{"Please make singe region for mask"}) << regions;
    EXPECT_DOUBLE_EQ(window_->Form()->dsbDipCx->value(), 60.0);
  }
}

TEST_F(RfaEndToEndTest, AdjustScreenFindsTheScreenAndShowsTheClippedImage) {
  const ZrFloatMatrix screen =
      RfaMakeSyntheticScreen(RfaScreenOptions(128, 128, 70.5, 60, 50, 80, 50, 5));
  const int32_t id = AddSource(screen);
  RfaParameters p = TestParameters();
  p.IsShowTmp = true;
  SetPanel(p);
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer;
  Click("pushButton_2");
  EXPECT_TRUE(answerer.Seen().empty()) << answerer.Texts().join("|").toStdString();
  const RfaScreenAdjustResult direct = RfaAdjustScreen(screen, 0.1, p.AdjSize);
  // The panel shows what the search found (to its one decimal).
  EXPECT_NEAR(window_->Form()->dspSx->value(), direct.cx, 0.05);
  EXPECT_NEAR(window_->Form()->dspSy->value(), direct.cy, 0.05);
  EXPECT_NEAR(window_->Form()->dspSr->value(), direct.r, 0.05);
  EXPECT_NEAR(direct.cx, 70.5, 0.5);
  EXPECT_NEAR(direct.cy, 60.0, 0.5);
  const ZrRefHostWindow w = Window(id);
  ASSERT_EQ(w.regions.size(), 1u);
  EXPECT_NEAR(w.regions.begin()->second.w, 2 * direct.r, 1e-3);
  const auto made = NewWindows(before);
  ASSERT_EQ(made.size(), 1u);
  EXPECT_TRUE(ZrSameBits(Window(made[0]).image, direct.clipped));
  EXPECT_EQ(Window(made[0]).regions.size(), 1u);
}

}  // namespace

// The real main window against the reference host (served from a thread of this process):
// buttons clicked through QTest, modal boxes read and answered by the test, and every result
// in the host compared with the library functions run directly on the same image.
#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <cstring>
#include <memory>

#include "app/MainWindow.h"
#include "app/RfaParameterFiles.h"
#include "imageio/ZrImageFile.h"
#include "refhost/ZrRefHost.h"
#include "refhost/ZrSeriesIndex.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaPipeline.h"
#include "rfa/RfaScreenAdjust.h"
#include "samples/RfaSyntheticScreen.h"
#include "tests/app/RfaAppTestUtil.h"
#include "ui_MainWindow.h"

namespace {

// A small screen, off-centre, with its dip; small enough to keep every click fast.
ZrFloatMatrix TestScreen(uint32_t seed = 7) {
  RfaSyntheticScreenOptions o;
  o.width = 96;
  o.height = 96;
  o.cx = 50;
  o.cy = 46;
  o.radius = 40;
  o.dipCx = 62;
  o.dipCy = 40;
  o.dipRadius = 4;
  o.noise = 0.02;
  o.seed = seed;
  return RfaMakeSyntheticScreen(o);
}

// Panel values that suit TestScreen; every value is representable by its widget.
RfaParameters TestParameters() {
  RfaParameters p;
  p.Sx = 50;
  p.Sy = 46;
  p.Sr = 40;
  p.SMargin = 3;
  p.Size_l = 3;
  p.Ax = 48;
  p.Ay = 48;
  p.McpDipCx = 60;
  p.McpDipCy = 42;
  p.McpDipR = 4.5;
  p.MaskCx = 48;
  p.MaskCy = 48;
  p.MaskRx = 38;
  p.MaskRy = 37;
  return p;
}

bool SameBits(const ZrFloatMatrix& a, const ZrFloatMatrix& b) {
  return a.ColSize == b.ColSize && a.RowSize == b.RowSize && a.ColBegin == b.ColBegin &&
         a.RowBegin == b.RowBegin &&
         std::memcmp(a.Data, b.Data, sizeof(float) * static_cast<size_t>(a.Count())) == 0;
}

class RfaEndToEndTest : public ::testing::Test, public RfaWorkDirFixture {
 protected:
  void SetUp() override {
    server_ = std::make_unique<ZrRefHostThread>(host_);
    ASSERT_TRUE(server_->Start(0));
    window_ = std::make_unique<MainWindow>();
    QTest::qWait(30);  // the start-up timer fills the panel
    window_->Host().SetPort(server_->Port());
    window_->Host().SubConnect();
    SetPanel(TestParameters());
  }

  void TearDown() override {
    window_.reset();
    server_->Stop();
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

  ZrRefHostWindow Window(int32_t id) {
    ZrRefHostWindow w;
    EXPECT_TRUE(host_.GetWindow(id, w)) << id;
    return w;
  }

  // The windows made since `before`, in creation order.
  std::vector<int32_t> NewWindows(const std::vector<int32_t>& before) {
    std::vector<int32_t> made;
    for (int32_t id : host_.WindowIds()) {
      if (std::find(before.begin(), before.end(), id) == before.end()) made.push_back(id);
    }
    return made;
  }

  int32_t AddSource(const ZrFloatMatrix& image) {
    const int32_t id = host_.AddImageWindow(image, "screen.rawf");
    ZrRefHostWindow w;
    host_.GetWindow(id, w);
    return id;
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

  ZrRefHost host_;
  std::unique_ptr<ZrRefHostThread> server_;
  std::unique_ptr<MainWindow> window_;
};

// The chain run directly: what "New Image" must deliver for a source with these keys.
RfaImageRecord ExpectedChain(const ZrFloatMatrix& source, const RfaParameters& p,
                             std::map<std::string, double> doubles = {},
                             std::map<std::string, std::string> texts = {}) {
  RfaImageRecord r;
  r.image = source;
  r.doubles = std::move(doubles);
  r.texts = std::move(texts);
  RfaAddLogEntry(r.texts, p, "ApplyCheckedOperations");
  RfaKeyWriter keys(r.doubles, r.texts);
  RfaApplyCheckedOperations(r.image, p, keys);
  return r;
}

TEST_F(RfaEndToEndTest, NewImageWithEveryBoxChecked) {
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  host_.SetFocus(sourceId);
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer;
  Click("pushButton_8");
  EXPECT_TRUE(answerer.Seen().empty()) << answerer.Texts().join("|").toStdString();
  const auto made = NewWindows(before);
  ASSERT_EQ(made.size(), 1u);
  const ZrRefHostWindow result = Window(made[0]);
  const RfaImageRecord expected = ExpectedChain(source, RfaParameters::Instance());
  EXPECT_TRUE(SameBits(result.image, expected.image));
  EXPECT_EQ(result.keyDouble, expected.doubles);
  EXPECT_EQ(result.keyString, expected.texts);
  // Independent checks: every group is recorded, the dip group keeps the x centre as
  // "CenterY", and the source window is untouched.
  EXPECT_EQ(result.keyDouble.at("MoveToCenter/Sx"), 50.0);
  EXPECT_EQ(result.keyDouble.at("MaskMcpDip/CenterY"), 60.0);
  EXPECT_EQ(result.keyDouble.at("AverageAlong/CenterX"), 48.0);
  EXPECT_EQ(result.image(2, 2), 0.0f);  // outside the mask ellipse
  EXPECT_TRUE(SameBits(Window(sourceId).image, source));
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
  const auto before = host_.WindowIds();
  Click("pushButton_8");
  const auto made = NewWindows(before);
  ASSERT_EQ(made.size(), 1u);
  const ZrRefHostWindow result = Window(made[0]);
  EXPECT_TRUE(SameBits(result.image, source));
  EXPECT_EQ(result.keyDouble, (std::map<std::string, double>{{"exposure", 2.5}}));
  ASSERT_EQ(result.keyString.size(), 2u);
  EXPECT_EQ(result.keyString.at("sample"), "Si(111)");
  const std::string log = result.keyString.at("log");
  EXPECT_NE(log.find("<ver>0.0.5</ver>"), std::string::npos) << log;
  EXPECT_NE(log.find("zr_app_tests"), std::string::npos) << log;
}

TEST_F(RfaEndToEndTest, NewImageOnANonImageWindowCreatesNothing) {
  const int32_t wave = host_.LoadSeriesWindow(MakeSeriesFolder(1).toStdString(), "wave");
  host_.SetFocus(wave);
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer;
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 1u);
  EXPECT_EQ(answerer.Seen()[0].title, "ERROR");
  EXPECT_EQ(answerer.Seen()[0].text, "Please select image window");
  EXPECT_TRUE(NewWindows(before).empty());
  EXPECT_TRUE(window_->Form()->pushButton_8->isEnabled());
}

TEST_F(RfaEndToEndTest, SeriesYesProcessesAndSavesEveryImageAndTheIndex) {
  const int32_t series = host_.LoadSeriesWindow(MakeSeriesFolder(3).toStdString());
  host_.SetFocus(series);
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
    EXPECT_TRUE(SameBits(ZrImageRead(saved.toStdString()), expected.image)) << i;
  }
  const ZrSeriesIndex index = ZrSeriesIndexRead(Path("out/_index.xmlsrs").toStdString());
  ASSERT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries[2].file, "s2.rawf");
}

TEST_F(RfaEndToEndTest, SeriesNoProcessesTheShownImageOnly) {
  const int32_t series = host_.LoadSeriesWindow(MakeSeriesFolder(2).toStdString());
  host_.SetFocus(series);
  bool dialogShown = false;
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    dialogShown = true;
    return QString();
  });
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer({QMessageBox::No});
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 1u);
  EXPECT_FALSE(dialogShown);
  const auto made = NewWindows(before);
  ASSERT_EQ(made.size(), 1u);
  const RfaImageRecord expected = ExpectedChain(TestScreen(10), RfaParameters::Instance());
  EXPECT_TRUE(SameBits(Window(made[0]).image, expected.image));
  EXPECT_TRUE(Window(series).savedFiles[0].empty());
}

TEST_F(RfaEndToEndTest, CancellingTheBatchKeepsEarlierImagesSaved) {
  const int32_t series = host_.LoadSeriesWindow(MakeSeriesFolder(4).toStdString());
  host_.SetFocus(series);
  QDir().mkpath(Path("out"));
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return Path("out/_index.xmlsrs");
  });
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
  const QString folder = MakeSeriesFolder(2);
  const int32_t series = host_.LoadSeriesWindow(folder.toStdString());
  host_.SetFocus(series);
  QFile::remove(folder + "/s1.rawf");
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString&, const QString&) {
    return Path("_index.xmlsrs");
  });
  RfaModalBoxAnswerer answerer({QMessageBox::Yes, QMessageBox::Ok});
  Click("pushButton_8");
  ASSERT_EQ(answerer.Seen().size(), 2u);
  EXPECT_EQ(answerer.Seen()[1].text, "File cannot be loaded.");
  EXPECT_FALSE(Window(series).savedFiles[0].empty());
}

TEST_F(RfaEndToEndTest, CancellingTheOutputDialogDoesNothing) {
  const int32_t series = host_.LoadSeriesWindow(MakeSeriesFolder(2).toStdString());
  host_.SetFocus(series);
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
  const auto before = host_.WindowIds();
  RfaModalBoxAnswerer answerer;
  Click(GetParam().button);
  EXPECT_TRUE(answerer.Seen().empty()) << answerer.Texts().join("|").toStdString();
  const auto made = NewWindows(before);
  const std::vector<ZrFloatMatrix> expected =
      GetParam().expected(source, RfaParameters::Instance());
  ASSERT_EQ(made.size(), expected.size());
  for (size_t i = 0; i < made.size(); ++i) {
    const ZrRefHostWindow w = Window(made[i]);
    EXPECT_TRUE(SameBits(w.image, expected[i])) << i;
    EXPECT_EQ(w.keyDouble.at("exposure"), 2.5);
    EXPECT_EQ(w.keyDouble.count(GetParam().group) + w.keyString.count(GetParam().group), 1u)
        << GetParam().group;
  }
  EXPECT_TRUE(SameBits(Window(sourceId).image, source));
}

INSTANTIATE_TEST_SUITE_P(
    Buttons, RfaStepButtonTest,
    ::testing::Values(
        StepCase{"Move", "pushButton_7", MoveExpected, "MoveToCenter/Sy"},
        StepCase{"RemoveBg", "pushButton_5", ShExpected, "RFA_background/MappingAzThetaMax_deg"},
        StepCase{"RemoveAzBg", "pushButton", AzExpected, "AverageAlong/CenterY"},
        StepCase{"MaskDip", "pushButton_9", DipExpected, "MaskMcpDip/Radius"},
        StepCase{"MaskOutside", "pushButton_11", OutsideExpected, "MaskOutside/RadiusOfY"}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST_F(RfaEndToEndTest, MoveToCenterOutlinesScreenAndFitDiscAtTheImageCentre) {
  host_.SetFocus(AddSource(TestScreen()));
  const auto before = host_.WindowIds();
  Click("pushButton_7");
  const auto made = NewWindows(before);
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

TEST_F(RfaEndToEndTest, MaskStepsRefuseANonImageWindow) {
  host_.SetFocus(host_.LoadSeriesWindow(MakeSeriesFolder(1).toStdString(), "wave"));
  for (const char* button : {"pushButton_9", "pushButton_11"}) {
    RfaModalBoxAnswerer answerer;
    Click(button);
    EXPECT_EQ(answerer.Texts(), QStringList{"Please select image window"}) << button;
  }
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
                         [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

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
  RfaSyntheticScreenOptions o;
  o.width = o.height = 128;
  o.cx = 70.5;
  o.cy = 60;
  o.radius = 50;
  o.dipCx = 80;
  o.dipCy = 50;
  o.dipRadius = 5;
  const ZrFloatMatrix screen = RfaMakeSyntheticScreen(o);
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
  EXPECT_TRUE(SameBits(Window(made[0]).image, direct.clipped));
  EXPECT_EQ(Window(made[0]).regions.size(), 1u);
}

}  // namespace

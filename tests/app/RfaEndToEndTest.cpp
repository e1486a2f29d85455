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
#include "formats/ZrSeriesIndex.h"
#include "imageio/ZrImageFile.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaScreenAdjust.h"
#include "rfahost/RfaPipeline.h"
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
  o.Noise = 0.02;
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

  // Clicks the button and returns the windows it made, in creation order.
  std::vector<int32_t> Click(const char* button) {
    const auto before = host_.WindowIds();
    auto* b = window_->findChild<QPushButton*>(button);
    EXPECT_NE(b, nullptr) << button;
    if (b != nullptr) QTest::mouseClick(b, Qt::LeftButton);
    return NewWindows(before);
  }

  int32_t AddSource(const ZrFloatMatrix& image) {
    return host_.AddImageWindow(image, "screen.rawf");
  }

  // A focused series window of `count` screens series/s0.rawf, s1.rawf, ...; the output
  // folder "out" is made.
  int32_t FocusSeries(int count, const char* mode = "image") {
    QDir().mkpath(Path("series"));
    QDir().mkpath(Path("out"));
    for (int i = 0; i < count; ++i) {
      ZrImageWrite(Path(QString("series/s%1.rawf").arg(i)).toStdString(),
                   TestScreen(static_cast<uint32_t>(10 + i)));
    }
    const int32_t id = host_.LoadSeriesWindow(Path("series").toStdString(), mode);
    host_.SetFocus(id);
    return id;
  }

  std::unique_ptr<MainWindow> window_;
};

// The chain run directly: what "New Image" must deliver for a source with the keys in r.
RfaImageRecord ExpectedChain(const ZrFloatMatrix& source, const RfaParameters& p,
                             RfaImageRecord r = {}) {
  r.Image = source;
  RfaAddLogEntry(r.Texts, p, "ApplyCheckedOperations");
  RfaKeyWriter keys(r.Doubles, r.Texts);
  RfaApplyCheckedOperations(r.Image, p, keys);
  return r;
}

// With every box checked and with none: the source's keys travel along, the log is added and
// the source stays untouched.
TEST_F(RfaEndToEndTest, NewImageAppliesTheCheckedOperations) {
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  RfaImageRecord sourceKeys;
  sourceKeys.Doubles = {{"exposure", 2.5}};
  sourceKeys.Texts = {{"sample", "Si(111)"}};
  window_->Host().ImageKeyDoubleSet(sourceId, sourceKeys.Doubles);
  window_->Host().ImageKeyStringSet(sourceId, sourceKeys.Texts);
  for (const bool checked : {true, false}) {
    SCOPED_TRACE(checked);
    RfaParameters p = TestParameters();
    if (!checked) p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
    SetPanel(p);
    host_.SetFocus(sourceId);
    RfaModalBoxAnswerer answerer;
    const auto made = Click("pushButton_8");
    EXPECT_EQ(answerer.Seen(), "");
    ASSERT_EQ(made.size(), 1u);
    const ZrRefHostWindow result = Window(made[0]);
    const RfaImageRecord expected = ExpectedChain(source, p, sourceKeys);
    EXPECT_TRUE(ZrSameBits(result.Image, expected.Image));
    EXPECT_EQ(ZrSameBits(result.Image, source), !checked);
    EXPECT_EQ(result.KeyDouble, expected.Doubles);
    EXPECT_EQ(result.KeyString, expected.Texts);
    EXPECT_EQ(result.KeyDouble.count("MaskMcpDip/CenterY"), checked ? 1u : 0u);
    EXPECT_TRUE(ZrSameBits(Window(sourceId).Image, source));
  }
}

TEST_F(RfaEndToEndTest, ImageStepsOnANonImageWindowCreateNothing) {
  FocusSeries(1, "wave");
  for (const char* button : {"pushButton_8", "pushButton_9", "pushButton_11"}) {
    RfaModalBoxAnswerer answerer;
    EXPECT_TRUE(Click(button).empty()) << button;
    EXPECT_EQ(answerer.Seen(), "ERROR: Please select image window") << button;
  }
}

// On a series window "New Image" asks whether to process all images: No processes the shown
// one, Yes (after the output dialog) saves every result and the index.
TEST_F(RfaEndToEndTest, SeriesNoProcessesTheShownImageAndYesTheWholeSeries) {
  const int32_t series = FocusSeries(3);
  DialogCall call;
  AnswerSaveDialog(call, QString());
  {
    RfaModalBoxAnswerer answerer({QMessageBox::No});
    const auto made = Click("pushButton_8");
    EXPECT_EQ(answerer.Seen(), "Information: Process All images?");
    EXPECT_TRUE(call.Caption.isEmpty());  // no output dialog
    ASSERT_EQ(made.size(), 1u);
    const RfaImageRecord expected = ExpectedChain(TestScreen(10), RfaParameters::Instance());
    EXPECT_TRUE(ZrSameBits(Window(made[0]).Image, expected.Image));
    EXPECT_TRUE(Window(series).SavedFiles[0].empty());
  }
  host_.SetFocus(series);
  {  // Cancelling the output dialog leaves the series alone.
    host_.ClearRequests();
    RfaModalBoxAnswerer answerer({QMessageBox::Yes});
    EXPECT_TRUE(Click("pushButton_8").empty());
    EXPECT_EQ(answerer.Seen(), "Information: Process All images?");
    for (const std::string& function : Functions()) {
      EXPECT_EQ(function.find("SeriesImageIndexSet"), std::string::npos);
    }
  }
  EXPECT_EQ(call.Text(),
            "Please move to output folder | default/_index.xmlsrs | index (*.xmlsrs *.*)");
  AnswerSaveDialog(call, Path("out/_index.xmlsrs"));
  host_.ClearRequests();
  RfaModalBoxAnswerer answerer({QMessageBox::Yes});
  EXPECT_TRUE(Click("pushButton_8").empty());
  EXPECT_EQ(answerer.Seen(), "Information: Process All images?");
  // Each image: loaded, its index keys read, processed in place, the keys written back, saved.
  const std::string perImage =
      "SeriesImageIndexSetWithLoadImage GetIsLoaded GetFileName SeriesIndexKeyDoubleGet "
      "SeriesIndexKeyStringGet SeriesImageIndexSet FIImageGetBySharedMemory ImageKeyDoubleGet "
      "ImageKeyStringGet FIImageSetBySharedMemory ImageKeyDoubleSet ImageKeyStringSet "
      "SeriesIndexKeyDoubleSet SeriesIndexKeyStringSet SeriesImageSave ";
  std::string called;
  for (const std::string& function : Functions()) called += function + " ";
  EXPECT_EQ(called,
            "WindowGetFocusedID GetIsModeImage GetIsModeSeries GetIsModeImage SeriesKeyStringGet "
            "SeriesGetCount " +
                perImage + perImage + perImage + "SeriesSaveRenew ");
  const ZrRefHostWindow w = Window(series);
  for (int i = 0; i < 3; ++i) {
    const QString saved = Path(QString("out/s%1.rawf").arg(i));
    EXPECT_EQ(QFileInfo(QString::fromStdString(w.SavedFiles[static_cast<size_t>(i)])),
              QFileInfo(saved));
    const RfaImageRecord expected =
        ExpectedChain(TestScreen(static_cast<uint32_t>(10 + i)), RfaParameters::Instance());
    EXPECT_TRUE(ZrSameBits(ZrImageRead(saved.toStdString()), expected.Image)) << i;
  }
  const ZrSeriesIndex index = ZrSeriesIndexRead(Path("out/_index.xmlsrs").toStdString());
  ASSERT_EQ(index.Entries.size(), 3u);
  EXPECT_EQ(index.Entries[2].File, "s2.rawf");
}

// A batch that stops part-way, cancelled or at an image that cannot be loaded, keeps the
// images saved before and writes no index.
TEST_F(RfaEndToEndTest, BatchStoppedPartWayKeepsEarlierImagesSaved) {
  const int32_t series = FocusSeries(4);
  DialogCall call;
  AnswerSaveDialog(call, Path("out/_index.xmlsrs"));
  bool cancel = true;
  // Presses the progress dialog's cancel button once the second image has begun.
  QTimer canceller;
  QObject::connect(&canceller, &QTimer::timeout, [&] {
    auto* progress = window_->findChild<QProgressDialog*>();
    if (cancel && progress != nullptr && progress->value() >= 1) progress->cancel();
  });
  canceller.start(5);
  for (const char* shown : {"ERROR: Canceled.", "ERROR: File cannot be loaded."}) {
    RfaModalBoxAnswerer answerer({QMessageBox::Yes, QMessageBox::Ok});
    Click("pushButton_8");
    EXPECT_EQ(answerer.Seen(), "Information: Process All images? | " + std::string(shown));
    const ZrRefHostWindow w = Window(series);
    EXPECT_FALSE(w.SavedFiles[0].empty());
    EXPECT_TRUE(QFile::remove(Path("out/s0.rawf"))) << shown;
    EXPECT_TRUE(w.SavedFiles.back().empty());
    EXPECT_FALSE(QFileInfo::exists(Path("out/_index.xmlsrs")));
    cancel = false;  // next: the second image's file is gone
    QFile::remove(Path("series/s1.rawf"));
  }
}

// --- single-step buttons ---

struct StepCase {
  const char* Name;
  const char* Button;
  size_t Operation;   // the row of the chain's operation table whose image the step shows last
  const char* Group;  // a key of the group the step records
};

class RfaStepButtonTest : public RfaEndToEndTest, public ::testing::WithParamInterface<StepCase> {};

// The last window holds what the chain's operation makes of the source; a background step shows
// first the background that its quotient was divided by.
TEST_P(RfaStepButtonTest, CreatesItsWindowsWithSourceKeysAndItsGroup) {
  const ZrFloatMatrix source = TestScreen();
  const int32_t sourceId = AddSource(source);
  window_->Host().ImageKeyDoubleSet(sourceId, {{"exposure", 2.5}});
  RfaModalBoxAnswerer answerer;
  const auto made = Click(GetParam().Button);
  EXPECT_EQ(answerer.Seen(), "");
  ZrFloatMatrix expected = source;
  RfaOperations()[GetParam().Operation].Run(expected, RfaParameters::Instance(), {});
  ASSERT_FALSE(made.empty());
  EXPECT_TRUE(ZrSameBits(Window(made.back()).Image, expected));
  if (made.size() == 2) {
    EXPECT_TRUE(ZrSameBits(RfaDivideByBackground(source, Window(made[0]).Image), expected));
  }
  EXPECT_EQ(made.size(), GetParam().Operation == 1 || GetParam().Operation == 2 ? 2u : 1u);
  for (const int32_t id : made) {
    const ZrRefHostWindow w = Window(id);
    EXPECT_EQ(w.KeyDouble.at("exposure"), 2.5);
    EXPECT_EQ(w.KeyDouble.count(GetParam().Group) + w.KeyString.count(GetParam().Group), 1u)
        << GetParam().Group;
  }
  EXPECT_TRUE(ZrSameBits(Window(sourceId).Image, source));
}

INSTANTIATE_TEST_SUITE_P(
    Buttons, RfaStepButtonTest,
    ::testing::Values(StepCase{"Move", "pushButton_7", 0, "MoveToCenter/Sy"},
                      StepCase{"RemoveBg", "pushButton_5", 1,
                               "RFA_background/MappingAzThetaMax_deg"},
                      StepCase{"RemoveAzBg", "pushButton", 2, "AverageAlong/CenterY"},
                      StepCase{"MaskDip", "pushButton_9", 3, "MaskMcpDip/Radius"},
                      StepCase{"MaskOutside", "pushButton_11", 4, "MaskOutside/RadiusOfY"}),
    ZrCaseName());

TEST_F(RfaEndToEndTest, MoveToCenterOutlinesScreenAndFitDiscAtTheImageCentre) {
  host_.SetFocus(AddSource(TestScreen()));
  const auto made = Click("pushButton_7");
  ASSERT_EQ(made.size(), 1u);
  std::multiset<std::tuple<std::string, float, float, float, float>> shapes;
  for (const auto& [id, r] : Window(made[0]).Regions)
    shapes.insert({r.regionType, r.cx, r.cy, r.w, r.h});
  // Diameters 2 (Sr - SMargin) and 2 Sr.
  EXPECT_EQ(shapes, (decltype(shapes){{"ELLIPSE", 48, 48, 74, 74}, {"ELLIPSE", 48, 48, 80, 80}}));
}

TEST_F(RfaEndToEndTest, DrawButtonsReplaceTheRegionsByOneEllipse) {
  const int32_t id = AddSource(TestScreen());
  const std::pair<const char*, std::vector<float>> cases[] = {
      {"pushButton_6", {50, 46, 80, 80}},   // the screen
      {"pushButton_10", {60, 42, 9, 9}},    // the dip
      {"pushButton_4", {48, 48, 76, 74}}};  // the outside mask
  for (const auto& [button, expected] : cases) {
    ZrRegion old;
    old.regionType = "RECTANGLE";
    window_->Host().RegionAdd(id, old);
    Click(button);
    const ZrRefHostWindow w = Window(id);
    ASSERT_EQ(w.Regions.size(), 1u) << button;
    const ZrRegion& r = w.Regions.begin()->second;
    EXPECT_EQ(r.regionType, "ELLIPSE");
    EXPECT_EQ((std::vector<float>{r.cx, r.cy, r.w, r.h}), expected) << button;
  }
}

TEST_F(RfaEndToEndTest, UpdateMaskTakesTheDipFromTheOnlyRegion) {
  const int32_t id = AddSource(TestScreen());
  for (int regions : {0, 2}) {
    for (int i = 0; i < regions; ++i) window_->Host().RegionAdd(id, ZrRegion());
    RfaModalBoxAnswerer answerer;
    Click("pushButton_12");
    EXPECT_EQ(answerer.Seen(), "ERROR: Please make singe region for mask") << regions;
    EXPECT_DOUBLE_EQ(window_->Form()->dsbDipCx->value(), 60.0);
  }
  window_->Host().RegionAdd(AddSource(TestScreen()), {"ELLIPSE", 20.5f, 25, 8, 12, {}, false, ""});
  RfaModalBoxAnswerer answerer;
  Click("pushButton_12");
  EXPECT_EQ(answerer.Seen(), "");
  const Ui::MainWindow* f = window_->Form();
  EXPECT_EQ((std::vector<double>{f->dsbDipCx->value(), f->dsbDipCy->value(), f->dsbDipR->value()}),
            (std::vector<double>{20.5, 25, 5}));
}

TEST_F(RfaEndToEndTest, AdjustScreenFindsTheScreenAndShowsTheClippedImage) {
  const ZrFloatMatrix screen =
      RfaMakeSyntheticScreen(RfaScreenOptions(128, 128, 70.5, 60, 50, 80, 50, 5));
  const int32_t id = AddSource(screen);
  RfaParameters p = TestParameters();
  p.IsShowTmp = true;
  SetPanel(p);
  RfaModalBoxAnswerer answerer;
  const auto made = Click("pushButton_2");
  EXPECT_EQ(answerer.Seen(), "");
  const RfaScreenAdjustResult direct = RfaAdjustScreen(screen, 0.1, p.AdjSize);
  // The panel shows what the search found (to its one decimal).
  EXPECT_NEAR(window_->Form()->dspSx->value(), direct.Cx, 0.05);
  EXPECT_NEAR(window_->Form()->dspSy->value(), direct.Cy, 0.05);
  EXPECT_NEAR(window_->Form()->dspSr->value(), direct.R, 0.05);
  const ZrRefHostWindow w = Window(id);
  ASSERT_EQ(w.Regions.size(), 1u);
  EXPECT_NEAR(w.Regions.begin()->second.w, 2 * direct.R, 1e-3);
  ASSERT_EQ(made.size(), 1u);
  EXPECT_TRUE(ZrSameBits(Window(made[0]).Image, direct.Clipped));
  EXPECT_EQ(Window(made[0]).Regions.size(), 1u);
}

}  // namespace

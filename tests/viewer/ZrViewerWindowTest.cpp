// The viewer's windows against a reference host: files open in windows of the right size, the
// cursor read-out and display range, keys, regions and new windows a plug-in makes through the
// host protocol, focus, series, saving and the radial profile.
#include <gtest/gtest.h>
#include <QDir>
#include <QLabel>
#include <QLineSeries>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <memory>

#include "formats/ZrKeyRecord.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "imageio/ZrImageFile.h"
#include "refhost/ZrRefHost.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"
#include "viewer/ZrViewerMainWindow.h"

namespace {

// value(x, y) = 1000 * y + x + 0.5: every pixel tells where it is.
ZrFloatMatrix Ramp(int32_t cols, int32_t rows, int32_t colBegin = 0, int32_t rowBegin = 0) {
  ZrFloatMatrix image(cols, rows);
  image.SetBegin(colBegin, rowBegin);
  for (int32_t y = rowBegin; y < rowBegin + rows; ++y) {
    for (int32_t x = colBegin; x < colBegin + cols; ++x) image(x, y) = 1000.0f * y + x + 0.5f;
  }
  return image;
}

// A viewer over a host served on its own thread, and a plug-in client connected to it.
class ZrViewerWindowTest : public ZrRefHostFixture {
 protected:
  void SetUp() override {
    ZrRefHostFixture::SetUp();
    viewer_ = std::make_unique<ZrViewerMainWindow>(host_, server_->Port());
    viewer_->resize(1200, 800);
    viewer_->show();
  }
  void TearDown() override {
    viewer_.reset();
    ZrRefHostFixture::TearDown();
  }
  std::string Write(const char* name, const ZrFloatMatrix& image) {
    const std::string path = dir_.filePath(name).toStdString();
    ZrImageWrite(path, image);
    return path;
  }
  QStringList KeyRows(const QString& group) const {
    QStringList rows;
    QTreeWidget* tree = viewer_->KeyTree();
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
      QTreeWidgetItem* top = tree->topLevelItem(i);
      if (top->text(0) != group) continue;
      for (int k = 0; k < top->childCount(); ++k) {
        rows << top->child(k)->text(0) + "=" + top->child(k)->text(1);
      }
    }
    return rows;
  }

  QTemporaryDir dir_;
  std::unique_ptr<ZrViewerMainWindow> viewer_;
};

class ZrViewerOpenTest : public ZrViewerWindowTest,
                         public ::testing::WithParamInterface<const char*> {};

TEST_P(ZrViewerOpenTest, EachFileInAWindowOfItsSize) {
  const ZrFloatMatrix image = Ramp(37, 23);
  const std::string path = Write(GetParam(), image);
  const int32_t id = viewer_->OpenFile(path);
  ZrViewerWindow* window = viewer_->WindowWidget(id);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window->View()->Picture().size(), QSize(37, 23));
  EXPECT_TRUE(ZrSameBits(window->Window().Image, image));
  EXPECT_EQ(host_.Focus(), id);
  EXPECT_EQ(viewer_->ActiveWindow(), window);
  EXPECT_EQ(window->Title(), QString("%1: %2 (37 x 23)").arg(id).arg(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Formats, ZrViewerOpenTest, ::testing::Values("a.rawf", "b.tif", "c.xml"));

TEST_F(ZrViewerWindowTest, CursorReadOutNamesThePixelUnderTheMouse) {
  // Begins are kept by the raw float format: the read-out uses the image's own coordinates.
  const int32_t id = viewer_->OpenFile(Write("ramp.rawf", Ramp(40, 30, -5, 100)));
  ZrImageView* view = viewer_->WindowWidget(id)->View();
  view->SetZoom(3);
  QCoreApplication::processEvents();                     // let the scroll area place the grown view
  QTest::mouseMove(view, QPoint(3 * 7 + 1, 3 * 4 + 2));  // pixel column 7, row 4 from the top
  EXPECT_EQ(viewer_->CursorLabel()->text(), "x=2  y=104  value=104002.5");
  QTest::mouseMove(view, QPoint(1, 1));  // (0, 0) would mean the centre to QTest
  EXPECT_EQ(viewer_->CursorLabel()->text(), "x=-5  y=100  value=99995.5");
}

TEST_F(ZrViewerWindowTest, DisplayRangeAutoAndSet) {
  const int32_t id = viewer_->OpenFile(Write("ramp.tif", Ramp(11, 3)));
  ZrViewerWindow* window = viewer_->WindowWidget(id);
  EXPECT_EQ(window->Range().Hi, 2010.5f);  // auto at first
  const auto grey = [&](int x, int y) { return qGray(window->View()->Picture().pixel(x, y)); };
  // Row 1 lies between 1000.5 and 1010.5: set the range to it.
  window->SetRange(1000.5f, 1010.5f);
  EXPECT_EQ(std::vector<int>({grey(0, 0), grey(5, 1), grey(10, 1), grey(0, 2)}),
            std::vector<int>({0, 128, 255, 255}));
  // A set range stays when the host changes the image; auto follows it again.
  host_.SetWindowImage(id, Ramp(11, 3, 0, 5));
  viewer_->Sync();
  EXPECT_FLOAT_EQ(window->Range().Lo, 1000.5f);
  window->SetAutoRange(true);
  EXPECT_FLOAT_EQ(window->Range().Lo, 5000.5f);
}

// The key record side file of a result becomes the window's keys; keys and log a plug-in sets
// replace them after its update.
TEST_F(ZrViewerWindowTest, KeysFromTheKeyFileBesideAResultAndFromAPlugin) {
  const std::string image = Write("result.tif", Ramp(8, 8));
  ZrKeyRecordWrite(dir_.filePath("result.keys.xml").toStdString(),
                   {{"MaskMcpDip", 1}, {"RFA_background", -0.125}},
                   {{"log", "rfa-process\nOpen"}, {"source", "a b.tif"}});
  const int32_t id = viewer_->OpenFile(image);
  ZrRefHostWindow record;
  ASSERT_TRUE(host_.GetWindow(id, record));
  EXPECT_EQ(std::make_pair(record.KeyDouble.at("RFA_background"), record.KeyString.at("source")),
            std::make_pair(-0.125, std::string("a b.tif")));
  EXPECT_EQ(KeyRows("ImageKeyDouble"), QStringList({"MaskMcpDip=1", "RFA_background=-0.125"}));
  EXPECT_EQ(KeyRows("ImageKeyString"), QStringList({"source=a b.tif"}));
  EXPECT_EQ(viewer_->LogView()->toPlainText(), "rfa-process\nOpen");

  client_->ImageKeyDoubleSet(id, {{"MoveToCenter", 1}, {"RFA_background", 0.25}});
  client_->ImageKeyStringSet(id, {{"log", "line one\nline two"}, {"note", "text"}});
  client_->UpdateAll();
  ASSERT_TRUE(QTest::qWaitFor(
      [&] { return viewer_->LogView()->toPlainText() == "line one\nline two"; }, 5000));
  EXPECT_EQ(KeyRows("ImageKeyDouble"), QStringList({"MoveToCenter=1", "RFA_background=0.25"}));
  EXPECT_EQ(KeyRows("ImageKeyString"), QStringList({"note=text"}));
}

// An unreadable image opens no window; an unreadable key file beside an image leaves the image
// open without keys.
TEST_F(ZrViewerWindowTest, UnreadableFilesOpenNothingOrNoKeys) {
  const std::string broken = dir_.filePath("broken.rawf").toStdString();
  ASSERT_TRUE(ZrTestWriteFile(broken, "abc"));
  ASSERT_TRUE(ZrTestWriteFile(dir_.filePath("result.keys.xml").toStdString(), "abc"));
  EXPECT_NE(ZrErrorText([&] { viewer_->OpenFile(broken); }), "<no ZrError>");
  EXPECT_TRUE(host_.WindowIds().empty());
  EXPECT_EQ(viewer_->ActiveWindow(), nullptr);
  const int32_t id = viewer_->OpenFile(Write("result.rawf", Ramp(8, 8)));
  ASSERT_NE(viewer_->WindowWidget(id), nullptr);
  EXPECT_TRUE(viewer_->WindowWidget(id)->Window().KeyDouble.empty());
  EXPECT_TRUE(KeyRows("ImageKeyDouble").isEmpty());
}

TEST_F(ZrViewerWindowTest, NewWindowOfAPluginTakesTheFocusAndUserFocusReachesTheHost) {
  const int32_t first = viewer_->OpenFile(Write("a.rawf", Ramp(8, 8)));
  const int32_t second = client_->ImageNewWindow();
  client_->ImageSet(second, Ramp(5, 4));
  client_->UpdateAll();
  ASSERT_TRUE(QTest::qWaitFor(
      [&] { return viewer_->ActiveWindow() != nullptr && viewer_->ActiveWindow()->Id() == second; },
      5000));
  EXPECT_EQ(viewer_->ActiveWindow()->View()->Picture().size(), QSize(5, 4));
  // The user activates the first window: the plug-in's next query sees it focused.
  auto* mdi = viewer_->findChild<QMdiArea*>();
  ASSERT_NE(mdi, nullptr);
  for (QMdiSubWindow* sub : mdi->subWindowList()) {
    if (sub->widget() == viewer_->WindowWidget(first)) mdi->setActiveSubWindow(sub);
  }
  EXPECT_EQ(client_->WindowGetFocusedID(), first);
}

TEST_F(ZrViewerWindowTest, ClosedWindowStaysInTheHostAndComesBack) {
  const int32_t id = viewer_->OpenFile(Write("a.rawf", Ramp(8, 8)));
  QWidget* sub = viewer_->WindowWidget(id)->parentWidget();
  ASSERT_TRUE(sub->isVisible());
  sub->close();
  viewer_->Sync();
  EXPECT_FALSE(sub->isVisible());
  EXPECT_EQ(host_.WindowIds(), std::vector<int32_t>({id}));
  viewer_->ShowAllWindows();
  EXPECT_TRUE(sub->isVisible());
}

TEST_F(ZrViewerWindowTest, RegionsOfAPluginAreDrawnWhereTheyLie) {
  ZrFloatMatrix black(64, 48);
  black.Fill(0.0f);
  const int32_t id = viewer_->OpenFile(Write("black.rawf", black));
  const ZrRegion ellipse{"ELLIPSE", 30, 20, 40, 20, {255, 0, 0}, false, ""};
  const ZrRegion box{"RECTANGLE", 50, 40, 10, 6, {0, 255, 0}, false, ""};
  client_->RegionAdd(id, ellipse);
  client_->RegionAdd(id, box);
  client_->UpdateAll();
  ZrViewerWindow* window = viewer_->WindowWidget(id);
  ASSERT_TRUE(QTest::qWaitFor([&] { return window->Window().Regions.size() == 2; }, 5000));
  window->View()->SetZoom(2);
  const QImage shot = window->View()->grab().toImage();
  // Near a widget point: is there a pixel of this colour within 2 pixels?
  auto near = [&](QPointF p, QColor colour) {
    for (int dy = -2; dy <= 2; ++dy) {
      for (int dx = -2; dx <= 2; ++dx) {
        const QColor c = shot.pixelColor(int(p.x()) + dx, int(p.y()) + dy);
        if (std::abs(c.red() - colour.red()) < 90 && std::abs(c.green() - colour.green()) < 90 &&
            c.blue() < 90 && (c.red() > 120 || c.green() > 120)) {
          return true;
        }
      }
    }
    return false;
  };
  ZrImageView* view = window->View();
  // Ellipse ends at cx +- w/2 and cy +- h/2, nothing drawn at its centre nor at the corner of
  // its bounding box; rectangle corners at (45, 37) and (55, 43), nothing at its centre.
  const struct {
    float X, Y;
    QColor Colour;
    bool Drawn;
  } points[] = {{10, 20, Qt::red, true},   {50, 20, Qt::red, true},   {30, 10, Qt::red, true},
                {30, 30, Qt::red, true},   {30, 20, Qt::red, false},  {10, 10, Qt::red, false},
                {45, 37, Qt::green, true}, {55, 43, Qt::green, true}, {50, 40, Qt::green, false}};
  for (const auto& p : points) {
    EXPECT_EQ(near(view->ToScreen(p.X, p.Y), p.Colour), p.Drawn) << p.X << ", " << p.Y;
  }
}

TEST_F(ZrViewerWindowTest, SeriesSliderLoadsTheChosenImage) {
  ASSERT_TRUE(QDir(dir_.path()).mkdir("series"));
  for (int i = 0; i < 3; ++i) {
    ZrImageWrite(dir_.filePath(QString("series/img%1.rawf").arg(i)).toStdString(),
                 Ramp(6 + i, 4, 0, i));
  }
  const int32_t id = host_.LoadSeriesWindow(dir_.filePath("series").toStdString());
  viewer_->Sync();
  ZrViewerWindow* window = viewer_->WindowWidget(id);
  ASSERT_NE(window, nullptr);
  QSlider* slider = window->SeriesSlider();
  EXPECT_TRUE(slider->isVisible());
  EXPECT_EQ(slider->maximum(), 2);
  slider->setValue(2);
  EXPECT_EQ(window->Window().CurrentIndex, 2);
  EXPECT_TRUE(ZrSameBits(window->Window().Image, Ramp(8, 4, 0, 2)));
  EXPECT_EQ(window->View()->Picture().size(), QSize(8, 4));
  EXPECT_EQ(window->Title(), QString("%1: img2.rawf (8 x 4)").arg(id));
}

TEST_F(ZrViewerWindowTest, SavesTheFocusedImageLosslessly) {
  EXPECT_ZR_ERROR(viewer_->SaveFocused(dir_.filePath("x.tif").toStdString()),
                  "No window has the focus");
  const ZrFloatMatrix image = Ramp(9, 7);
  viewer_->OpenFile(Write("src.rawf", image));
  for (const char* name : {"out.tif", "out.tiff", "out.xml"}) {
    const std::string path = dir_.filePath(name).toStdString();
    viewer_->SaveFocused(path);
    EXPECT_TRUE(ZrSameBits(ZrImageRead(path), image)) << name;
  }
  const std::string png = dir_.filePath("out.png").toStdString();
  EXPECT_ZR_ERROR(viewer_->SaveFocused(png), "Save as .tif, .tiff or .xml:" + png);
  EXPECT_FALSE(QFile::exists(QString::fromStdString(png)));
}

TEST_F(ZrViewerWindowTest, ProfileCentreFollowsTheImageUntilChosen) {
  const ZrFloatMatrix image = Ramp(21, 15, 0, 0);
  viewer_->OpenFile(Write("a.rawf", image));
  // Centre (10, 7): ring 0 is that one pixel.
  const std::vector<QPointF> expected = ZrViewerRadialProfile(image, 10, 7, true);
  const QVector<QPointF> shown = viewer_->ProfileSeries()->pointsVector();
  EXPECT_EQ(std::vector<QPointF>(shown.begin(), shown.end()), expected);
  ASSERT_FALSE(shown.isEmpty());
  EXPECT_DOUBLE_EQ(shown[0].y(), 7010.5);
  viewer_->SetProfileCentre(2, 3);
  EXPECT_DOUBLE_EQ(viewer_->ProfileSeries()->pointsVector()[0].y(), 3002.5);
  // A chosen centre stays for the next image; the button returns to the image's centre.
  viewer_->OpenFile(Write("b.rawf", Ramp(5, 5, 10, 10)));
  // Nearest to (2, 3) are (10, 10) at 10.6, (10, 11) at 11.3 and (11, 10) at 11.4: ring 11.
  EXPECT_EQ(viewer_->ProfileSeries()->pointsVector()[0],
            QPointF(11, (10010.5 + 11010.5 + 10011.5) / 3));
  auto* button = viewer_->findChild<QPushButton*>("profileImageCentre");
  ASSERT_NE(button, nullptr);
  button->click();
  EXPECT_DOUBLE_EQ(viewer_->ProfileSeries()->pointsVector()[0].y(), 12012.5);
}

// The viewer follows the host's changes as the host reports them, and draws again only the
// windows that changed; gets change nothing, so nothing is drawn again.
TEST_F(ZrViewerWindowTest, APluginsChangeRedrawsOnlyTheWindowItChanged) {
  const int32_t kept = host_.AddImageWindow(ZrFloatMatrix(8, 6));
  const int32_t changed = host_.AddImageWindow(ZrFloatMatrix(8, 6));
  QTRY_VERIFY(viewer_->WindowWidget(kept) != nullptr && viewer_->WindowWidget(changed) != nullptr);
  const auto picture = [&](int32_t id) {
    return viewer_->WindowWidget(id)->View()->Picture().cacheKey();
  };
  const qint64 keptPicture = picture(kept), changedPicture = picture(changed);
  ZrFloatMatrix image(8, 6);
  image.Fill(3.0f);
  client_->ImageSet(changed, image);
  client_->ImageKeyStringSet(changed, {{"note", "a<b"}});
  QTRY_COMPARE(viewer_->WindowWidget(changed)->Window().KeyString.count("note"), size_t{1});
  EXPECT_EQ(viewer_->WindowWidget(changed)->Window().Image.Data[0], 3.0f);
  EXPECT_NE(picture(changed), changedPicture);
  EXPECT_EQ(picture(kept), keptPicture);
  const qint64 settled = picture(changed);
  client_->ImageGet(changed, image, false);
  QTest::qWait(50);
  EXPECT_EQ(picture(changed), settled);
}

}  // namespace

// Series windows: loading from a folder and from an index, index keys, loading state,
// saving images and a renewed index.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "formats/ZrSeriesIndex.h"
#include "imageio/ZrImageFile.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestSeriesIndex.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"

namespace {

class ZrRefHostSeries : public ZrRefHostFixture {
 protected:
  void SetUp() override {
    ZrRefHostFixture::SetUp();
    ASSERT_TRUE(dir_.isValid());
    folder_ = QDir(dir_.path()).filePath("in").toStdString();
    output_ = QDir(dir_.path()).filePath("out").toStdString();
    QDir().mkpath(QString::fromStdString(folder_));
    QDir().mkpath(QString::fromStdString(output_));
    for (int i = 0; i < 3; ++i) {
      ZrFloatMatrix image(4, 2);
      image.Fill(static_cast<float>(i + 1));
      ZrImageWrite(folder_ + "/img" + std::to_string(i) + ".rawf", image);
    }
    host_.SetOutputDir(output_);
  }

  QTemporaryDir dir_;
  std::string folder_, output_;
};

}  // namespace

TEST_F(ZrRefHostSeries, BatchSequenceOverAFolder) {
  const int32_t id = client_->SeriesNewWindow(folder_, "image");
  EXPECT_TRUE(client_->GetIsModeImage(id) && client_->GetIsModeSeries(id));
  ASSERT_EQ(client_->SeriesGetCount(id), 3);
  std::map<std::string, std::string> seriesKeys = {{"x", "y"}};
  client_->SeriesKeyStringGet(id, seriesKeys);
  EXPECT_TRUE(seriesKeys.empty());

  for (int32_t i = 0; i < 3; ++i) {
    client_->SeriesImageIndexSetWithLoadImage(id, i);
    bool loaded = false, success = false;
    client_->GetIsLoaded(loaded, success);
    EXPECT_TRUE(loaded && success);
    const std::string name = client_->GetFileName(id);
    EXPECT_EQ(name, "img" + std::to_string(i) + ".rawf");
    std::map<std::string, double> d;
    std::map<std::string, std::string> s;
    client_->SeriesIndexKeyDoubleGet(id, d);
    client_->SeriesIndexKeyStringGet(id, s);
    client_->SeriesImageIndexSet(id, i);
    ZrFloatMatrix image;
    client_->ImageGet(id, image, true);
    EXPECT_EQ(ZrPixels(image), std::vector<float>(8, static_cast<float>(i + 1)));
    for (int64_t k = 0; k < image.Count(); ++k) image.Data[k] *= 10;
    client_->ImageSet(id, image);
    d["Sx"] = i + 0.5;
    s["log"] = "<done & " + std::to_string(i) + ">";
    client_->SeriesIndexKeyDoubleSet(id, d);
    client_->SeriesIndexKeyStringSet(id, s);
    client_->SeriesImageSave(id, name);
  }
  client_->SeriesSaveRenew(id, "_index.xmlsrs");

  const ZrSeriesIndex index = ZrSeriesIndexRead(output_ + "/_index.xmlsrs");
  ASSERT_EQ(index.Entries.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    const std::string n = std::to_string(i);
    EXPECT_EQ(index.Entries[i].File, "img" + n + ".rawf");
    EXPECT_EQ(index.Entries[i].KeyDouble.at("Sx"), i + 0.5);
    EXPECT_EQ(index.Entries[i].KeyString.at("log"), "<done & " + n + ">");
    EXPECT_EQ(ZrImageRead(output_ + "/img" + n + ".rawf").Data[7], 10.0f * (i + 1));
  }

  // The renewed index loads as a series of the processed images, keys included.
  const int32_t again = client_->SeriesNewWindow(output_ + "/_index.xmlsrs", "image");
  EXPECT_EQ(client_->SeriesGetCount(again), 3);
  client_->SeriesImageIndexSetWithLoadImage(again, 2);
  std::map<std::string, double> d;
  client_->SeriesIndexKeyDoubleGet(again, d);
  EXPECT_EQ(d.at("Sx"), 2.5);
  ZrFloatMatrix image;
  client_->ImageGet(again, image, false);
  EXPECT_EQ(image.Data[0], 30.0f);
}

// An index file loaded as a series; renewed without saving any image.
TEST_F(ZrRefHostSeries, IndexFileSeriesKeysAndUnsavedEntries) {
  const ZrSeriesIndex index = ZrTestSeriesIndex();
  const std::string indexPath = QDir(dir_.path()).filePath("idx/s.xmlsrs").toStdString();
  QDir().mkpath(QDir(dir_.path()).filePath("idx"));
  ZrSeriesIndexWrite(indexPath, index);
  const int32_t id = client_->SeriesNewWindow(indexPath, "image");
  EXPECT_EQ(client_->SeriesGetCount(id), 2);
  std::map<std::string, double> d;
  std::map<std::string, std::string> s;
  client_->SeriesKeyDoubleGet(id, d);
  client_->SeriesKeyStringGet(id, s);
  EXPECT_EQ(std::make_pair(d, s), std::make_pair(index.KeyDouble, index.KeyString));
  client_->SeriesImageIndexSetWithLoadImage(id, 1);
  client_->SeriesIndexKeyDoubleGet(id, d);
  EXPECT_EQ(d.at("t"), 1.0);
  // Nothing saved: the renewed index points at the original images, absolute when they lie
  // outside the index's folder and relative when inside it.
  client_->SeriesSaveRenew(id, output_ + "/renewed.xmlsrs");
  const ZrSeriesIndex renewed = ZrSeriesIndexRead(output_ + "/renewed.xmlsrs");
  ASSERT_EQ(renewed.Entries.size(), 2u);
  EXPECT_EQ(renewed.Entries[1].File, folder_ + "/img1.rawf");
  client_->SeriesSaveRenew(id, folder_ + "/inside.xmlsrs");
  EXPECT_EQ(ZrSeriesIndexRead(folder_ + "/inside.xmlsrs").Entries[0].File, "img0.rawf");
}

TEST_F(ZrRefHostSeries, FailedLoadIsReportedThroughGetIsLoaded) {
  ASSERT_TRUE(ZrTestWriteFile(folder_ + "/img9.rawf", "xx"));
  const int32_t id = client_->SeriesNewWindow(folder_, "image");
  ASSERT_EQ(client_->SeriesGetCount(id), 4);
  client_->SeriesImageIndexSetWithLoadImage(id, 3);
  bool loaded = false, success = true;
  client_->GetIsLoaded(loaded, success);
  EXPECT_EQ(std::make_pair(loaded, success), std::make_pair(true, false));
  EXPECT_ZR_ERROR(client_->SeriesImageIndexSet(id, 4), "Series index is out of range:4");
  EXPECT_ZR_ERROR(client_->SeriesNewWindow(folder_ + "/missing", "image"),
                  "Series cannot be loaded:" + folder_ + "/missing");
  const int32_t plain = client_->ImageNewWindow();
  EXPECT_ZR_ERROR(client_->SeriesGetCount(plain),
                  "Window is not a series:" + std::to_string(plain));
}

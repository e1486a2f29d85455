// rfa-process beyond the plug-in's chain: provenance, screen finding, the sub-pixel move, the
// fit's background and quality, profiles, angular maps, and requests that cannot be met.
#include "tools/RfaAnalysisOutputs.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <cstdio>

#include "formats/ZrKeyRecord.h"
#include "formats/ZrSha256.h"
#include "imageio/ZrImageCodec.h"
#include "rfa/RfaAngularMap.h"
#include "rfa/RfaProvenance.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/tools/RfaProcessFixture.h"

namespace {

QJsonObject Json(const std::string& text) {
  return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
}

std::string Exact(double v) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", v);
  return text;
}

// A 96 x 96 screen centred at (cx, cy), radius 36, and in "p.rfa_bg" parameters that expect it
// at (48, 48).
class RfaAnalysisTest : public RfaProcessTest {
 protected:
  void SetUp() override { RfaWriteParameterFile(Path("p.rfa_bg"), p_); }
  void WriteScreen(const std::string& name, double cx, double cy, uint32_t seed = 3) {
    RfaSyntheticScreenOptions o = RfaScreenOptions(96, 96, cx, cy, 36, cx + 10, cy - 5, 4, seed);
    o.RimWidth = 1.0;
    QDir().mkpath(QFileInfo(QString::fromStdString(Path(name))).path());
    ZrImageWrite(Path(name), RfaMakeSyntheticScreen(o));
  }
  QJsonObject Results(const std::string& json) {
    return Json(ZrReadFileBytes(Path(json)))["results"].toObject();
  }
  const ZrScopedEnvironment time_{"SOURCE_DATE_EPOCH", "1700000000"};
  RfaParameters p_ = RfaGeometry(48, 48, 36, 3, 4, 48, 48, 58, 43, 5, 48, 48, 34, 34);
};

TEST_F(RfaAnalysisTest, EveryResultRecordsWhereItCameFrom) {
  WriteScreen("s.tif", 48, 48);
  ASSERT_EQ(Run("-p @/p.rfa_bg -o @/out @/s.tif"), 0) << err_;
  const std::string sha = ZrSha256Hex(ZrReadFileBytes(Path("s.tif")));
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  ZrKeyRecordRead(Path("out/s.keys.xml"), doubles, texts);
  EXPECT_EQ(texts["Provenance/Input"], Path("s.tif"));
  EXPECT_EQ(texts["Provenance/InputSHA256"], sha);
  EXPECT_EQ(texts["Provenance/Time"], "2023-11-14T22:13:20Z");
  EXPECT_EQ(doubles["Provenance/Parameters/Sr_"], 36.0);
  EXPECT_EQ(doubles["Provenance/Results/FitReliable"], 1.0);

  const ZrTiffText tags = ZrDecodeTiffText(ZrReadFileBytes(Path("out/s.tif")), "s.tif");
  EXPECT_EQ(tags.Software, "rfa-process 0.0.5");
  const QJsonObject described = Json(tags.Description);
  EXPECT_EQ(described["input"].toObject()["sha256"].toString().toStdString(), sha);
  EXPECT_EQ(described["file"].toObject()["content"].toString(), "result");
  const QJsonObject side = Json(ZrReadFileBytes(Path("out/s.json")));
  EXPECT_EQ(side["outputs"].toObject()["provenance"].toString(), "s.json");
  EXPECT_EQ(side["parameters"].toObject()["Size_l_"].toInt(), 4);
  EXPECT_GT(side["results"].toObject()["FitCondition"].toDouble(), 1.0);

  const ZrScopedEnvironment broken("SOURCE_DATE_EPOCH", "yesterday");
  EXPECT_EQ(Run("-p @/p.rfa_bg -o @/later @/s.tif"), 2);
  EXPECT_EQ(err_,
            "rfa-process: SOURCE_DATE_EPOCH must be a whole number of seconds since 1970, "
            "not \"yesterday\"\n");
}

// Each image's own screen is found and used (a run with those values set gives the same image);
// once for a series, the first file's screen serves all.
TEST_F(RfaAnalysisTest, FindScreenOnEachImageOrOnceForTheSeries) {
  WriteScreen("in/a.tif", 44.3, 51.6, 3);
  WriteScreen("in/b.tif", 51.2, 45.9, 4);
  ASSERT_EQ(Run("-p @/p.rfa_bg --find-screen image -o @/each @/in"), 0) << err_;
  const double truth[2][2] = {{44.3, 51.6}, {51.2, 45.9}};
  for (int i = 0; i < 2; ++i) {
    const std::string name = i == 0 ? "a" : "b";
    const QJsonObject r = Results("each/" + name + ".json");
    EXPECT_NEAR(r["ScreenX"].toDouble(), truth[i][0], 0.25) << name;
    EXPECT_NEAR(r["ScreenY"].toDouble(), truth[i][1], 0.25) << name;
    ASSERT_EQ(Run("-p @/p.rfa_bg --set Sx_=" + Exact(r["ScreenX"].toDouble()) + " --set Sy_=" +
                  Exact(r["ScreenY"].toDouble()) + " --set Sr_=" + Exact(r["ScreenR"].toDouble()) +
                  " -o @/set @/in/" + name + ".tif"),
              0)
        << err_;
    EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("each/" + name + ".tif")),
                           ZrImageRead(Path("set/" + name + ".tif"))))
        << name;
  }
  ASSERT_EQ(Run("-p @/p.rfa_bg --find-screen series -o @/series @/in"), 0) << err_;
  const QJsonObject a = Results("series/a.json"), b = Results("series/b.json");
  EXPECT_EQ(b["ScreenFoundOn"].toString().toStdString(), Path("in/a.tif"));
  EXPECT_EQ(b["ScreenX"].toDouble(), a["ScreenX"].toDouble());
  EXPECT_EQ(a["ScreenX"].toDouble(), Results("each/a.json")["ScreenX"].toDouble());
}

// A screen that cannot be found fails its image with the reason and writes nothing for it; for
// a series, nothing at all.
TEST_F(RfaAnalysisTest, ScreenNotFoundWritesNothingForIt) {
  WriteScreen("in/b.tif", 48, 48);
  ZrFloatMatrix dark(64, 64);
  dark.Fill(0.0f);
  ZrImageWrite(Path("in/a-dark.tif"), dark);
  const std::string darkText =
      At("rfa-process: @/in/a-dark.tif: Find screen: no screen found: the "
         "image has no bright region\n");
  EXPECT_EQ(Run("-p @/p.rfa_bg --find-screen image -o @/each @/in"), 1);
  EXPECT_EQ(err_, darkText);
  EXPECT_EQ(Files("each"), (std::vector<std::string>{"b.json", "b.keys.xml", "b.tif"}));
  EXPECT_EQ(Run("-p @/p.rfa_bg --find-screen series -o @/series @/in"), 1);
  EXPECT_EQ(err_, darkText);
  EXPECT_FALSE(QDir(QString::fromStdString(Path("series"))).exists());
}

// The outputs the options ask for are the library's results for the image the chain made.
TEST_F(RfaAnalysisTest, SubpixelMoveBackgroundProfileAndAngularMaps) {
  WriteScreen("s.tif", 46.6, 49.3);
  RfaParameters& p = p_;
  p.Sx = 46.6;
  p.Sy = 49.3;
  ASSERT_EQ(Run("-p @/p.rfa_bg --set Sx_=46.6 --set Sy_=49.3 --subpixel-shift --background "
                "--profile --angular-map 5 --png -o @/out @/s.tif"),
            0)
      << err_;
  EXPECT_EQ(Files("out"),
            (std::vector<std::string>{"s.after.png", "s.angular.png", "s.angular.tif",
                                      "s.background.png", "s.background.tif", "s.before.png",
                                      "s.coefficients.csv", "s.json", "s.keys.xml", "s.profile.csv",
                                      "s.profile.png", "s.stereo.png", "s.stereo.tif", "s.tif"}));
  const ZrFloatMatrix input = ZrImageRead(Path("s.tif"));
  ZrFloatMatrix background;
  RfaChainOptions chain;
  chain.Subpixel = true;
  chain.Background = &background;  // the fit of the moved image (RfaChainTest)
  const RfaProcessResult result = RfaProcessImage(input, p, chain);
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("out/s.tif")), result.Image));
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("out/s.background.tif")), background));
  EXPECT_EQ(Results("out/s.json")["CentreShiftX"].toDouble(), 48 - 46.6);

  const std::string csv = ZrReadFileBytes(Path("out/s.coefficients.csv"));
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 26);  // header and (4 + 1)^2 rows
  const std::string profile = ZrReadFileBytes(Path("out/s.profile.csv"));
  EXPECT_EQ(profile.rfind("radius_px,theta_deg,image_pixels,", 0), 0u);
  EXPECT_EQ(std::count(profile.begin(), profile.end(), '\n'), 1 + 38);  // rings to Sr + 2

  const RfaAngularGrid grid = RfaMakeAngularGrid(5, p);
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("out/s.angular.tif")),
                         RfaAngularMap(result.Image, p, grid, RfaInterpolation::Keys)));
  const QJsonObject file =
      Json(ZrDecodeTiffText(ZrReadFileBytes(Path("out/s.angular.tif")), "a").Description)["file"]
          .toObject();
  EXPECT_EQ(file["theta_step_deg"].toDouble(), 5.0);
  EXPECT_EQ(file["theta_count"].toInt(), 19);
  EXPECT_EQ(file["phi_count"].toInt(), 72);
  EXPECT_EQ(ZrImageRead(Path("out/s.stereo.tif")).ColSize, RfaMakeStereoGrid(5, p).Side);
}

// --no-overwrite counts the side files too. (Requests no image could meet: the refusals of
// RfaProcessTest.)
TEST_F(RfaAnalysisTest, NoOverwriteCountsTheSideFiles) {
  WriteScreen("s.tif", 48, 48);
  ASSERT_EQ(Run("-p @/p.rfa_bg --angular-map 5 -o @/out @/s.tif"), 0) << err_;
  ASSERT_TRUE(QFile::remove(QString::fromStdString(Path("out/s.tif"))));
  EXPECT_EQ(Run("-p @/p.rfa_bg --angular-map 5 --no-overwrite -o @/out @/s.tif"), 2);
  EXPECT_EQ(err_, At("rfa-process: @/out/s.keys.xml: output exists (--no-overwrite)\n"));
}

// Degree 10 on a hemisphere: the result is written, with a warning and the verdict recorded.
TEST_F(RfaAnalysisTest, IllConditionedFitIsWrittenWithAWarning) {
  WriteScreen("s.tif", 48, 48);
  ASSERT_EQ(Run("-p @/p.rfa_bg --set Size_l_=10 -o @/out @/s.tif"), 0) << err_;
  EXPECT_EQ(err_.rfind(At("rfa-process: @/s.tif: warning: the normal matrix of the background fit "
                          "is ill-conditioned (condition "),
                       0),
            0u)
      << err_;
  EXPECT_FALSE(Results("out/s.json")["FitReliable"].toBool());
}

}  // namespace

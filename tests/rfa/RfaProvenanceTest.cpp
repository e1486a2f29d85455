// Provenance records: time, key entries beside the plug-in's groups, JSON.
#include "rfa/RfaProvenance.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <map>

#include "numerics/ZrVersion.h"
#include "rfa/RfaKeyWriter.h"

namespace {

RfaProvenance Record() {
  RfaProvenance r;
  r.Program = "rfa-process";
  r.Version = kZrVersion;
  r.Input = "runs/caf\xc3\xa9.tif";  // "café"
  r.InputSha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  r.Frame = 7;
  r.Time = RfaUtcTime(1700000000);
  r.Parameters = {{"Sx_", 120.25}, {"SMargin_", int64_t{5}}, {"IsBgSh_", true}};
  r.Options = {{"subpixel-shift", std::string("keys")}};
  r.Results = {{"FitCondition", NAN}};
  r.Outputs = {{"image", std::string("caf\xc3\xa9.tif")}};
  return r;
}

TEST(RfaProvenance, Time) {
  EXPECT_EQ(RfaUtcTime(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(RfaUtcTime(1700000000), "2023-11-14T22:13:20Z");
}

TEST(RfaProvenance, KeyEntriesBesideThePluginGroups) {
  std::map<std::string, double> doubles{{"MoveToCenter/Sx", 1}};
  std::map<std::string, std::string> texts{{"log", "<app/>"}};
  RfaKeyWriter keys(doubles, texts);
  RfaWriteProvenanceKeys(keys, Record());
  ASSERT_TRUE(std::isnan(doubles["Provenance/Results/FitCondition"]));
  doubles.erase("Provenance/Results/FitCondition");
  EXPECT_EQ(doubles, (std::map<std::string, double>{{"MoveToCenter/Sx", 1},
                                                    {"Provenance/Frame", 7},
                                                    {"Provenance/Parameters/IsBgSh_", 1},
                                                    {"Provenance/Parameters/SMargin_", 5},
                                                    {"Provenance/Parameters/Sx_", 120.25}}));
  EXPECT_EQ(texts.at("Provenance/InputSHA256"), Record().InputSha256);
  EXPECT_EQ(texts.at("Provenance/Time"), "2023-11-14T22:13:20Z");
  EXPECT_EQ(texts.at("Provenance/Options/subpixel-shift"), "keys");
  EXPECT_EQ(texts.at("Provenance/Outputs/image"), "caf\xc3\xa9.tif");
  EXPECT_EQ(texts.at("log"), "<app/>");
}

TEST(RfaProvenance, JsonReadsBackAndCanBeAscii) {
  for (const bool ascii : {false, true}) {
    const std::string text =
        RfaProvenanceJson(Record(), !ascii, ascii, {{"grid", {{"step_deg", 0.5}}}});
    if (ascii) {
      EXPECT_EQ(text.find('\n'), std::string::npos);
      EXPECT_NE(text.find("caf\\u00e9"), std::string::npos);
    }
    const QJsonObject o = QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
    EXPECT_EQ(o["program"].toString(), "rfa-process");
    EXPECT_EQ(o["input"].toObject()["file"].toString(), QString::fromUtf8("runs/café.tif"));
    EXPECT_EQ(o["input"].toObject()["frame"].toInt(), 7);
    EXPECT_EQ(o["parameters"].toObject()["Sx_"].toDouble(), 120.25);
    EXPECT_EQ(o["parameters"].toObject()["IsBgSh_"].toBool(), true);
    EXPECT_EQ(o["results"].toObject()["FitCondition"].toString(), "nan");
    EXPECT_EQ(o["grid"].toObject()["step_deg"].toDouble(), 0.5);
  }
}

}  // namespace

// The document files of formats/, one traits struct each: the written text byte for byte, read
// back into what writes the same text again, the file round trip, and texts that are not theirs.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "formats/ZrKeyRecord.h"
#include "formats/ZrMenuFile.h"
#include "formats/ZrSeriesIndex.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestSeriesIndex.h"
#include "tests/common/ZrTestUtil.h"

namespace {

struct KeyRecordDocument {
  struct Value {
    std::map<std::string, double> Doubles;
    std::map<std::string, std::string> Texts;
  };
  static Value Sample() { return {{{"Sx", 0.1}, {"n", -3}}, {{"e", ""}, {"log", "<a> & \"x\""}}}; }
  static std::string Text(const Value& v) { return ZrKeyRecordText(v.Doubles, v.Texts); }
  static Value Parse(const std::string& text) {
    Value v;
    ZrKeyRecordParse(text, "x.keys.xml", v.Doubles, v.Texts);
    return v;
  }
  static void Write(const std::string& path, const Value& v) {
    ZrKeyRecordWrite(path, v.Doubles, v.Texts);
  }
  static Value Read(const std::string& path) {
    Value v;
    ZrKeyRecordRead(path, v.Doubles, v.Texts);
    return v;
  }
  static std::string MissingFile(const std::string& path) {
    return path + ": cannot open (No such file or directory)";
  }
  static constexpr const char* kText =
      "<VELDRA-IMAGE-KEYS><double><entry><key>Sx</key>\n<value>0.10000000000000001</value>\n"
      "</entry>\n<entry><key>n</key>\n<value>-3</value>\n</entry>\n</double>\n<text><entry>"
      "<key>e</key>\n<value></value>\n</entry>\n<entry><key>log</key>\n"
      "<value>&lt;a&gt; &amp; &quot;x&quot;</value>\n</entry>\n</text>\n</VELDRA-IMAGE-KEYS>\n";
};

struct SeriesIndexDocument {
  using Value = ZrSeriesIndex;
  static Value Sample() { return ZrTestSeriesIndex(); }
  static std::string Text(const Value& v) { return ZrSeriesIndexText(v); }
  static Value Parse(const std::string& text) { return ZrSeriesIndexParse(text); }
  static void Write(const std::string& path, const Value& v) { ZrSeriesIndexWrite(path, v); }
  static Value Read(const std::string& path) { return ZrSeriesIndexRead(path); }
  static std::string MissingFile(const std::string& path) { return "Cannot open:" + path; }
  static constexpr const char* kText =
      "<VELDRA-SERIES><SeriesKeyDouble><i0><key>energy</key>\n<val>95.5</val>\n</i0>\n"
      "</SeriesKeyDouble>\n<SeriesKeyString><i0><key>sample</key>\n"
      "<val>Cu(111) &lt;clean&gt;</val>\n</i0>\n</SeriesKeyString>\n<count>2</count>\n"
      "<images><i0><file>../in/img0.rawf</file>\n<SeriesIndexKeyDouble><i0><key>t</key>\n"
      "<val>0</val>\n</i0>\n</SeriesIndexKeyDouble>\n<SeriesIndexKeyString>"
      "</SeriesIndexKeyString>\n</i0>\n<i1><file>../in/img1.rawf</file>\n"
      "<SeriesIndexKeyDouble><i0><key>t</key>\n<val>1</val>\n</i0>\n</SeriesIndexKeyDouble>\n"
      "<SeriesIndexKeyString></SeriesIndexKeyString>\n</i1>\n</images>\n</VELDRA-SERIES>\n";
};

struct MenuFileDocument {
  struct Value {
    std::vector<ZrMenuEntry> Entries;
    std::vector<std::string> Extensions;
  };
  static Value Sample() {
    return {{{"RFA: Background: Spherical Harmonics", "", "PEH", "rfa.prog", "-O"},
             {"Second <&>", "Sub", "Menu", "rfa.prog", "-X \"y\""}},
            {"tif", "rawf"}};
  }
  static std::string Text(const Value& v) { return ZrMenuFileText(v.Entries, v.Extensions); }
  static Value Parse(const std::string& text) {
    Value v;
    ZrMenuFileParse(text, v.Entries, v.Extensions);
    return v;
  }
  static void Write(const std::string& path, const Value& v) {
    ZrMenuFileWrite(path, v.Entries, v.Extensions);
  }
  static Value Read(const std::string& path) {
    Value v;
    ZrMenuFileRead(path, v.Entries, v.Extensions);
    return v;
  }
  static std::string MissingFile(const std::string& path) { return path + ": Cannot File Open"; }
  static constexpr const char* kText =
      "<VELDRA-MENU><FileLoaderExtWithComma_><r>tif</r>\n<r>rawf</r>\n"
      "</FileLoaderExtWithComma_>\n<menuList><i0><Exe>rfa.prog</Exe>\n"
      "<Parameter>-O</Parameter>\n<Title>RFA: Background: Spherical Harmonics</Title>\n"
      "<TitleSubmenu></TitleSubmenu>\n<TitleMenu>PEH</TitleMenu>\n</i0>\n"
      "<i1><Exe>rfa.prog</Exe>\n<Parameter>-X &quot;y&quot;</Parameter>\n"
      "<Title>Second &lt;&amp;&gt;</Title>\n<TitleSubmenu>Sub</TitleSubmenu>\n"
      "<TitleMenu>Menu</TitleMenu>\n</i1>\n</menuList>\n</VELDRA-MENU>\n";
};

template <class Document>
class ZrDocument : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
  QTemporaryDir dir_;
};

using Documents = ::testing::Types<KeyRecordDocument, SeriesIndexDocument, MenuFileDocument>;
TYPED_TEST_SUITE(ZrDocument, Documents);

// What is read is what was written: writing it again gives the same bytes.
TYPED_TEST(ZrDocument, WrittenTextAndReadBack) {
  using D = TypeParam;
  EXPECT_EQ(D::Text(D::Sample()), D::kText);
  EXPECT_EQ(D::Text(D::Parse(D::kText)), D::kText);
}

TYPED_TEST(ZrDocument, FileRoundTripAndMissingFile) {
  using D = TypeParam;
  const std::string path = this->Path("document");
  D::Write(path, D::Sample());
  EXPECT_EQ(ZrTestReadFile(path), D::kText);
  EXPECT_EQ(D::Text(D::Read(path)), D::kText);
  EXPECT_ZR_ERROR(D::Read(this->Path("none")), D::MissingFile(this->Path("none")));
}

TEST(ZrDocuments, TextsThatAreNotTheirs) {
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  EXPECT_ZR_ERROR(ZrKeyRecordParse("<other></other>", "x.keys.xml", doubles, texts),
                  "x.keys.xml: not a key file (no \"VELDRA-IMAGE-KEYS\" element)");
  EXPECT_ZR_ERROR(ZrKeyRecordParse("<VELDRA-IMAGE-KEYS><", "x", doubles, texts),
                  "Illigal Tag Structure");
  EXPECT_ZR_ERROR(ZrSeriesIndexParse("<other></other>"), "Not a series index file");
  // A menu file is read tolerantly: what is not there is not read.
  std::vector<ZrMenuEntry> entries(1);
  std::vector<std::string> extensions{"x"};
  ZrMenuFileParse("<other><menuList></menuList></other>", entries, extensions);
  EXPECT_EQ(std::make_pair(entries.size(), extensions.size()),
            std::make_pair(size_t{1}, size_t{1}));
}

}  // namespace

// The file variants of the XML tree: stdio ZrBarnFile and the Qt ZrQBarnXml / ZrQBarnFile.
#include "formats/ZrBarnFile.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "formats/ZrQBarnXml.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestUtil.h"

namespace {

class ZrBarnFileTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const {
    return QDir(dir_.path()).filePath(QString::fromStdString(name)).toStdString();
  }
  // A document with a value that spans two lines, and its written text.
  static constexpr const char* kSample =
      "<ini><text>line1\nline2 &amp; more</text>\n<n>42</n>\n</ini>\n";
  template <class Tree>
  static void WriteSample(Tree& xml) {
    xml.OpenRack("ini");
    std::string s = "line1\nline2 & more";
    int32_t n = 42;
    xml.Value("text", s, "");
    xml.Value("n", n, 0);
    xml.CloseRack("ini");
  }

  QTemporaryDir dir_;
};

}  // namespace

TEST_F(ZrBarnFileTest, StdioWritesOnceAtWriteOrDestructionAndReadsBack) {
  const std::string path = Path("a.xml");
  {
    ZrBarnFile w(path, "w");
    WriteSample(w);
  }
  EXPECT_EQ(ZrTestReadFile(path), kSample);
  ZrBarnFile r(path, "r");
  ASSERT_TRUE(r.OpenRack("ini"));
  std::string s;
  int32_t n = 0;
  EXPECT_TRUE(r.Value("text", s, "") && r.Value("n", n, 0));
  EXPECT_EQ(std::make_pair(s, n), std::make_pair(std::string("line1\nline2 & more"), 42));
  EXPECT_EQ(r.StatusMessage(), "Taging is finished. Analysing");

  const std::string once = Path("once.xml");
  {
    ZrBarnFile w(once, "w");
    EXPECT_EQ(ZrTestReadFile(once), "");  // created at construction
    WriteSample(w);
    w.Write();
    EXPECT_EQ(ZrTestReadFile(once), kSample);
    w.OpenRack("late");  // changes after the write are not written again
    w.CloseRack();
    w.Flush();
  }
  EXPECT_EQ(ZrTestReadFile(once), kSample);
}

TEST_F(ZrBarnFileTest, RootNameCheck) {
  const std::string path = Path("p.rfa_bg");
  ASSERT_TRUE(ZrTestWriteFile(path, "<ini><n>3</n></ini>"));
  ZrBarnFile ok(path, "r", "ini", "not a parameter file");
  int32_t n = 0;
  EXPECT_TRUE(ok.OpenRack("ini") && ok.Value("n", n, 0) && n == 3);
  EXPECT_ZR_ERROR(ZrBarnFile(path, "r", "menu", "not a menu file"), "not a menu file");
  // The root must appear within the first 4096 bytes.
  const std::string late = Path("late.xml");
  ASSERT_TRUE(ZrTestWriteFile(late, std::string(4096, ' ') + "<ini></ini>"));
  EXPECT_ZR_ERROR(ZrBarnFile(late, "r", "ini", "wrong kind"), "wrong kind");
  EXPECT_ZR_ERROR(ZrBarnFile(Path("none.xml"), "r", "ini", "wrong kind"),
                  "Canot file open " + Path("none.xml"));
  // Write mode does not check.
  EXPECT_NO_THROW(ZrBarnFile(Path("new.xml"), "w", "ini", "wrong kind"));
}

TEST_F(ZrBarnFileTest, OpenWriteAndTaggingFailures) {
  const std::string missing = Path("missing.xml");
  const std::string noDir = Path("no/such/dir.xml");
  EXPECT_ZR_ERROR(ZrBarnFile(missing, "r"), missing + ": Cannot File Open");
  EXPECT_ZR_ERROR(ZrBarnFile(Path(""), "r"), Path("") + ": Cannot File Open");  // a folder
  EXPECT_ZR_ERROR(ZrBarnFile(noDir, "w"), "Cannot File Open " + noDir);
  EXPECT_ZR_ERROR(ZrQBarnXml(missing, "r"), "Cannot open:" + missing);
  ZrQBarnFile w(noDir, "w");
  EXPECT_ZR_ERROR(w.Write(), "FILE CANNOT WRITE:" + noDir);
  EXPECT_NO_THROW(w.Write());  // written (attempted) once; the destructor stays quiet
  ASSERT_TRUE(ZrTestWriteFile(missing, "<ini><n>3</n"));
  EXPECT_ZR_ERROR(ZrBarnFile(missing, "r"), "Illigal Tag Structure");
}

TEST_F(ZrBarnFileTest, QtVariantWritesUtf8OnceAndLosesLineFeedsOnReading) {
  const std::string path = Path("q.ini");
  {
    ZrQBarnFile w(path, "w");
    w.OpenRack("ini");
    std::string s = "line1\nline2 & more";
    std::string unicode = "\xce\xbcm";  // micro sign, UTF-8
    w.Value("text", s, "");
    w.Value("u", unicode, "");
    w.CloseRack("ini");
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));  // written at destruction
  }
  EXPECT_EQ(ZrTestReadFile(path),
            "<ini><text>line1\nline2 &amp; more</text>\n<u>\xce\xbcm</u>\n</ini>\n");
  ZrQBarnXml r(QString::fromStdString(path), "r");
  ASSERT_TRUE(r.OpenRack("ini"));
  std::string s, u;
  EXPECT_TRUE(r.Value("text", s, "") && r.Value("u", u, ""));
  EXPECT_EQ(s + "|" + u, "line1line2 & more|\xce\xbcm");
  // An explicit write happens once: the destructor does not write again.
  {
    ZrQBarnFile w(path.c_str(), "w");
    WriteSample(w);
    w.Write();
    EXPECT_EQ(ZrTestReadFile(path), kSample);
    QFile::remove(QString::fromStdString(path));
  }
  EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
}

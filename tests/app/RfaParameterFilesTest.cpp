// Parameter files, "filepath.ini", the settings-file name and the file dialogs.
#include "app/RfaParameterFiles.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/ZrTestUtil.h"

namespace {

QByteArray ReadAll(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return QByteArray("<missing>");
  return file.readAll();
}

void WriteAll(const QString& path, const QByteArray& bytes) {
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(bytes);
}

// Every stored field set to a value that differs from its default.
RfaParameters NonDefaultParameters() {
  RfaParameters p;
  p.Sx = 11.5;
  p.Sy = 12.5;
  p.Sr = 130.25;
  p.SMargin = 3;
  p.MappingIsGnomonic = true;
  p.MappingIsAz = true;
  p.MappingAzThetaMax_deg = 75.5L;
  p.Size_l = 7;
  p.Ax = 64.5;
  p.Ay = 65.5;
  p.AdjThres = 0.25L;
  p.AdjSize = 4;
  p.UseAllSphere = true;
  p.IsShowTmp = true;
  p.McpDipCx = 1.5;
  p.McpDipCy = 2.5;
  p.McpDipR = 3.5;
  p.MaskCx = 4.5;
  p.MaskCy = 5.5;
  p.MaskRx = 6.5;
  p.MaskRy = 7.5;
  p.IsMoveCenter = false;
  p.IsBgSh = false;
  p.IsBgAz = false;
  p.IsMaskMcpDip = false;
  p.IsMaskOutside = false;
  return p;
}

void ExpectSameStoredFields(const RfaParameters& a, const RfaParameters& b) {
  EXPECT_EQ(a.Sx, b.Sx);
  EXPECT_EQ(a.Sy, b.Sy);
  EXPECT_EQ(a.Sr, b.Sr);
  EXPECT_EQ(a.SMargin, b.SMargin);
  EXPECT_EQ(a.MappingIsGnomonic, b.MappingIsGnomonic);
  EXPECT_EQ(a.MappingIsAz, b.MappingIsAz);
  // Long doubles travel as decimal text: "0.1" reads as the long double nearest 0.1, not as
  // the widened double default, so they agree to double precision.
  EXPECT_EQ(static_cast<double>(a.MappingAzThetaMax_deg),
            static_cast<double>(b.MappingAzThetaMax_deg));
  EXPECT_EQ(a.Size_l, b.Size_l);
  EXPECT_EQ(a.Ax, b.Ax);
  EXPECT_EQ(a.Ay, b.Ay);
  EXPECT_EQ(static_cast<double>(a.AdjThres), static_cast<double>(b.AdjThres));
  EXPECT_EQ(a.AdjSize, b.AdjSize);
  EXPECT_EQ(a.UseAllSphere, b.UseAllSphere);
  EXPECT_EQ(a.IsShowTmp, b.IsShowTmp);
  EXPECT_EQ(a.McpDipCx, b.McpDipCx);
  EXPECT_EQ(a.McpDipCy, b.McpDipCy);
  EXPECT_EQ(a.McpDipR, b.McpDipR);
  EXPECT_EQ(a.MaskCx, b.MaskCx);
  EXPECT_EQ(a.MaskCy, b.MaskCy);
  EXPECT_EQ(a.MaskRx, b.MaskRx);
  EXPECT_EQ(a.MaskRy, b.MaskRy);
  EXPECT_EQ(a.IsMoveCenter, b.IsMoveCenter);
  EXPECT_EQ(a.IsBgSh, b.IsBgSh);
  EXPECT_EQ(a.IsBgAz, b.IsBgAz);
  EXPECT_EQ(a.IsMaskMcpDip, b.IsMaskMcpDip);
  EXPECT_EQ(a.IsMaskOutside, b.IsMaskOutside);
}

class RfaParameterFilesTest : public ::testing::Test, public RfaWorkDirFixture {};

// --- settings-file name rule ---

struct NameCase {
  const char* programPath;
  const char* expected;
};

class RfaSettingsNameTest : public ::testing::TestWithParam<NameCase> {};

TEST_P(RfaSettingsNameTest, ReplacesOnlyTheFileNameExtension) {
  EXPECT_EQ(RfaReplaceExtension(GetParam().programPath, ".ini"), QString(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Paths, RfaSettingsNameTest,
                         ::testing::Values(NameCase{"/opt/rfa/tool.exe", "/opt/rfa/tool.ini"},
                                           NameCase{"/opt/rfa/rfa-bg", "/opt/rfa/rfa-bg.ini"},
                                           NameCase{"/opt/a.b/prog", "/opt/a.b/prog.ini"},
                                           NameCase{"C:\\tools\\prog.exe", "C:\\tools\\prog.ini"},
                                           NameCase{"C:\\a.b\\prog", "C:\\a.b\\prog.ini"},
                                           NameCase{"prog.tar.gz", "prog.tar.ini"},
                                           NameCase{".hidden", ".hidden.ini"},
                                           NameCase{"", ".ini"}));

TEST(RfaSettingsFile, LiesBesideTheRunningProgram) {
  // The test program has no extension, so the suffix is appended to its whole path.
  const QString program = QCoreApplication::applicationFilePath();
  ASSERT_TRUE(QFileInfo(program).suffix().isEmpty());
  EXPECT_EQ(GetIniFileNameQString(".ini"), program + ".ini");
}

// --- "filepath.ini" ---

struct FilePathCase {
  const char* chosen;
  const char* stored;
};

class RfaFilePathIniTest : public ::testing::TestWithParam<FilePathCase>,
                           public RfaWorkDirFixture {};

TEST_P(RfaFilePathIniTest, StoresTheDirectoryAsOneUnterminatedLine) {
  RfaWriteFilePathIni(GetParam().chosen);
  EXPECT_EQ(ReadAll("filepath.ini"), QByteArray(GetParam().stored));
  EXPECT_EQ(RfaReadFilePathIni(), QString(GetParam().stored));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, RfaFilePathIniTest,
    ::testing::Values(FilePathCase{"/data/run1/p.rfa_bg", "/data/run1"},
                      FilePathCase{"p.rfa_bg", ""}, FilePathCase{"D:\\runs\\p.rfa_bg", "D:\\runs"},
                      FilePathCase{"/p.rfa_bg", ""},
                      FilePathCase{"/data/\xc3\xa9t\xc3\xa9/p", "/data/\xc3\xa9t\xc3\xa9"}));

TEST_F(RfaParameterFilesTest, FilePathIniIsTruncatedOnEveryChoiceAndReadByItsFirstLine) {
  RfaWriteFilePathIni("/a/very/long/directory/name/x");
  RfaWriteFilePathIni("/b/y");
  EXPECT_EQ(ReadAll("filepath.ini"), QByteArray("/b"));
  WriteAll("filepath.ini", "/first\n/second\n");
  EXPECT_EQ(RfaReadFilePathIni(), QString("/first"));
}

TEST_F(RfaParameterFilesTest, MissingFilePathIniReadsEmpty) {
  EXPECT_EQ(RfaReadFilePathIni(), QString());
}

// --- the save-dialog helper ---

TEST_F(RfaParameterFilesTest, SaveHelperStartsInDefaultWithoutRememberedDirectory) {
  DialogCall call;
  RfaSetSaveDialog(
      [&](QWidget*, const QString& caption, const QString& start, const QString& filter) {
        call = {caption, start, filter};
        return QString();
      });
  EXPECT_EQ(GetSaveFileName(nullptr, "paremeter.rfa_bg", "parameter (*.rfa_bg)", "Save paramtrs"),
            QString());
  EXPECT_EQ(call.caption, "Save paramtrs");
  EXPECT_EQ(call.startPath, "default/paremeter.rfa_bg");
  EXPECT_EQ(call.filter, "parameter (*.rfa_bg)");
  // Cancelling writes nothing.
  EXPECT_FALSE(QFile::exists("filepath.ini"));
}

TEST_F(RfaParameterFilesTest, SaveHelperStartsInRememberedDirectoryAndRemembersTheChoice) {
  WriteAll("filepath.ini", "/data/run1");
  QString start;
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString& s, const QString&) {
    start = s;
    return QString("/data/run2/out/_index.xmlsrs");
  });
  EXPECT_EQ(GetSaveFileName(nullptr, "./_index.xmlsrs", "index (*.xmlsrs *.*)", "c"),
            QString("/data/run2/out/_index.xmlsrs"));
  EXPECT_EQ(start, "/data/run1/_index.xmlsrs");
  EXPECT_EQ(ReadAll("filepath.ini"), QByteArray("/data/run2/out"));
}

TEST_F(RfaParameterFilesTest, SaveHelperKeepsAnExplicitDirectoryOfTheDefaultName) {
  WriteAll("filepath.ini", "/ignored");
  QString start;
  RfaSetSaveDialog([&](QWidget*, const QString&, const QString& s, const QString&) {
    start = s;
    return QString();
  });
  GetSaveFileName(nullptr, "C:\\out\\p.rfa_bg", "f", "c");
  EXPECT_EQ(start, "C:\\out/p.rfa_bg");
}

// --- parameter files ---

TEST_F(RfaParameterFilesTest, RoundTripRestoresEveryStoredField) {
  RfaParameters written = NonDefaultParameters();
  RfaSaveParameterFile(written, Path("p.rfa_bg"));
  RfaParameters read;
  RfaLoadParameterFile(read, Path("p.rfa_bg"));
  ExpectSameStoredFields(read, written);

  RfaParameters defaults;
  RfaSaveParameterFile(defaults, Path("p.rfa_bg"));
  RfaLoadParameterFile(read, Path("p.rfa_bg"));
  ExpectSameStoredFields(read, RfaParameters());
}

TEST_F(RfaParameterFilesTest, FileWithOnlySxChangesOnlySx) {
  WriteAll(Path("sx.rfa_bg"), "<ini><Sx_>42.5</Sx_>\n</ini>\n");
  RfaParameters p = NonDefaultParameters();
  RfaLoadParameterFile(p, Path("sx.rfa_bg"));
  RfaParameters expected = NonDefaultParameters();
  expected.Sx = 42.5;
  ExpectSameStoredFields(p, expected);
}

TEST_F(RfaParameterFilesTest, OtherRootChangesNothingAndIsNoError) {
  WriteAll(Path("other.rfa_bg"), "<other><Sx_>42.5</Sx_><IsBgSh_>false</IsBgSh_>\n</other>\n");
  RfaParameters p;
  EXPECT_ZR_ERROR(RfaLoadParameterFile(p, Path("other.rfa_bg")), "<no ZrError>");
  ExpectSameStoredFields(p, RfaParameters());
}

TEST_F(RfaParameterFilesTest, OpeningErrorsCarryThePath) {
  RfaParameters p;
  const QString missing = Path("missing.rfa_bg");
  EXPECT_ZR_ERROR(RfaLoadParameterFile(p, missing),
                  "Cannot open:" + missing.toUtf8().toStdString());
  const QString unwritable = Path("no/such/dir/p.rfa_bg");
  EXPECT_ZR_ERROR(RfaSaveParameterFile(p, unwritable),
                  "FILE CANNOT WRITE:" + unwritable.toUtf8().toStdString());
}

}  // namespace

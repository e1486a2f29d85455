// Parameter files, "filepath.ini", the settings-file name and the file dialogs.
#include "app/RfaParameterFiles.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// Every stored field away from its default; the mask values fractional, as a file may hold them.
RfaParameters NonDefaultParameters() {
  RfaParameters p = RfaDistinctParameters();
  p.MaskCx = 4.5;
  p.MaskCy = 5.5;
  p.MaskRx = 6.5;
  p.MaskRy = 7.5;
  return p;
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
  ASSERT_TRUE(WriteAll("filepath.ini", "/first\n/second\n"));
  EXPECT_EQ(RfaReadFilePathIni(), QString("/first"));
}

TEST_F(RfaParameterFilesTest, MissingFilePathIniReadsEmpty) {
  EXPECT_EQ(RfaReadFilePathIni(), QString());
}

// --- the save-dialog helper ---

struct SaveHelperCase {
  const char* name;
  const char* remembered;  // content of "filepath.ini"; nullptr: no file
  const char* defaultName;
  const char* chosen;  // the dialog's answer; "" when cancelled
  const char* start;   // where the dialog must start
  const char* after;   // "filepath.ini" afterwards
};

class RfaSaveHelperTest : public ::testing::TestWithParam<SaveHelperCase>,
                          public RfaWorkDirFixture {};

TEST_P(RfaSaveHelperTest, StartsWhereItShouldAndRemembersTheChoice) {
  const SaveHelperCase& c = GetParam();
  if (c.remembered != nullptr) {
    ASSERT_TRUE(WriteAll("filepath.ini", c.remembered));
  }
  DialogCall call;
  RfaSetSaveDialog(
      [&](QWidget*, const QString& caption, const QString& start, const QString& filter) {
        call = {caption, start, filter};
        return QString(c.chosen);
      });
  EXPECT_EQ(GetSaveFileName(nullptr, c.defaultName, "index (*.xmlsrs *.*)", "Save here"),
            QString(c.chosen));
  EXPECT_EQ(call.caption, "Save here");
  EXPECT_EQ(call.startPath, c.start);
  EXPECT_EQ(call.filter, "index (*.xmlsrs *.*)");
  EXPECT_EQ(ReadAll("filepath.ini"), QByteArray(c.after));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RfaSaveHelperTest,
    ::testing::Values(
        // Cancelling writes nothing.
        SaveHelperCase{"DefaultWithoutRememberedDirectory", nullptr, "paremeter.rfa_bg", "",
                       "default/paremeter.rfa_bg", "<missing>"},
        SaveHelperCase{"RememberedDirectory", "/data/run1", "./_index.xmlsrs",
                       "/data/run2/out/_index.xmlsrs", "/data/run1/_index.xmlsrs",
                       "/data/run2/out"},
        SaveHelperCase{"ExplicitDirectoryOfTheDefaultName", "/ignored", "C:\\out\\p.rfa_bg", "",
                       "C:\\out/p.rfa_bg", "/ignored"}),
    ZrCaseName());

// --- parameter files ---

TEST_F(RfaParameterFilesTest, RoundTripRestoresEveryStoredField) {
  RfaParameters written = NonDefaultParameters();
  RfaSaveParameterFile(written, Path("p.rfa_bg"));
  RfaParameters read;
  RfaLoadParameterFile(read, Path("p.rfa_bg"));
  EXPECT_EQ(RfaStoredText(read), RfaStoredText(written));

  RfaParameters defaults;
  RfaSaveParameterFile(defaults, Path("p.rfa_bg"));
  RfaLoadParameterFile(read, Path("p.rfa_bg"));
  EXPECT_EQ(RfaStoredText(read), RfaStoredText(RfaParameters()));
}

TEST_F(RfaParameterFilesTest, FileWithOnlySxChangesOnlySx) {
  ASSERT_TRUE(WriteAll(Path("sx.rfa_bg"), "<ini><Sx_>42.5</Sx_>\n</ini>\n"));
  RfaParameters p = NonDefaultParameters();
  RfaLoadParameterFile(p, Path("sx.rfa_bg"));
  RfaParameters expected = NonDefaultParameters();
  expected.Sx = 42.5;
  EXPECT_EQ(RfaStoredText(p), RfaStoredText(expected));
}

TEST_F(RfaParameterFilesTest, OtherRootChangesNothingAndIsNoError) {
  ASSERT_TRUE(
      WriteAll(Path("other.rfa_bg"), "<other><Sx_>42.5</Sx_><IsBgSh_>false</IsBgSh_>\n</other>\n"));
  RfaParameters p;
  EXPECT_ZR_ERROR(RfaLoadParameterFile(p, Path("other.rfa_bg")), "<no ZrError>");
  EXPECT_EQ(RfaStoredText(p), RfaStoredText(RfaParameters()));
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

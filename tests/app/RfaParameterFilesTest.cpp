// Parameter files, "filepath.ini", the settings-file name and the file dialogs.
#include "app/RfaParameterFiles.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>

#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestUtil.h"

namespace {

class RfaParameterFilesTest : public ::testing::Test, public RfaWorkDirFixture {};

TEST(RfaSettingsFile, ReplacesOnlyTheFileNameExtension) {
  const std::pair<const char*, const char*> cases[] = {
      {"/opt/rfa/tool.exe", "/opt/rfa/tool.ini"},
      {"/opt/rfa/rfa-bg", "/opt/rfa/rfa-bg.ini"},
      {"/opt/a.b/prog", "/opt/a.b/prog.ini"},
      {"C:\\tools\\prog.exe", "C:\\tools\\prog.ini"},
      {"C:\\a.b\\prog", "C:\\a.b\\prog.ini"},
      {"prog.tar.gz", "prog.tar.ini"},
      {".hidden", ".hidden.ini"},
      {"", ".ini"}};
  for (const auto& [program, expected] : cases) {
    EXPECT_EQ(RfaReplaceExtension(program, ".ini"), QString(expected)) << program;
  }
  // The running test program has no extension: the suffix follows its whole path.
  const QString program = QCoreApplication::applicationFilePath();
  ASSERT_TRUE(QFileInfo(program).suffix().isEmpty());
  EXPECT_EQ(GetIniFileNameQString(".ini"), program + ".ini");
}

TEST_F(RfaParameterFilesTest, FilePathIniHoldsTheLastDirectoryAsOneUnterminatedLine) {
  EXPECT_EQ(RfaReadFilePathIni(), QString());  // no file yet
  const std::pair<const char*, const char*> cases[] = {
      {"/a/very/long/directory/name/x", "/a/very/long/directory/name"},
      {"/data/run1/p.rfa_bg", "/data/run1"},  // shorter: the file is truncated
      {"p.rfa_bg", ""},
      {"D:\\runs\\p.rfa_bg", "D:\\runs"},
      {"/p.rfa_bg", ""},
      {"/data/\xc3\xa9t\xc3\xa9/p", "/data/\xc3\xa9t\xc3\xa9"}};
  for (const auto& [chosen, stored] : cases) {
    RfaWriteFilePathIni(chosen);
    EXPECT_EQ(ZrTestReadFile("filepath.ini"), stored) << chosen;
    EXPECT_EQ(RfaReadFilePathIni(), QString(stored)) << chosen;
  }
  ASSERT_TRUE(ZrTestWriteFile("filepath.ini", "/first\n/second\n"));
  EXPECT_EQ(RfaReadFilePathIni(), QString("/first"));
}

TEST_F(RfaParameterFilesTest, SaveDialogStartsWhereItShouldAndRemembersTheChoice) {
  struct Case {
    const char* Remembered;  // content of "filepath.ini"; nullptr: no file
    const char* DefaultName;
    const char* Chosen;  // the dialog's answer; "" when cancelled
    const char* Start;   // where the dialog must start
    const char* After;   // "filepath.ini" afterwards
  };
  const Case cases[] = {// Cancelling writes nothing.
                        {nullptr, "paremeter.rfa_bg", "", "default/paremeter.rfa_bg", "<none>"},
                        {"/data/run1", "./_index.xmlsrs", "/data/run2/out/_index.xmlsrs",
                         "/data/run1/_index.xmlsrs", "/data/run2/out"},
                        // An explicit directory in the default name wins.
                        {"/ignored", "C:\\out\\p.rfa_bg", "", "C:\\out/p.rfa_bg", "/ignored"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.DefaultName);
    QFile::remove("filepath.ini");
    ASSERT_TRUE(c.Remembered == nullptr || ZrTestWriteFile("filepath.ini", c.Remembered));
    DialogCall call;
    AnswerSaveDialog(call, c.Chosen);
    EXPECT_EQ(GetSaveFileName(nullptr, c.DefaultName, "index (*.xmlsrs *.*)", "Save here"),
              QString(c.Chosen));
    EXPECT_EQ(call.Text(), "Save here | " + std::string(c.Start) + " | index (*.xmlsrs *.*)");
    const bool written = QFile::exists("filepath.ini");
    EXPECT_EQ(written ? ZrTestReadFile("filepath.ini") : "<none>", c.After);
  }
}

// The file holds every stored field (the text itself is the parameter set's); a file whose root
// is not "ini" changes nothing and is no error. Failures name the path.
TEST_F(RfaParameterFilesTest, FilesRoundTripAndFailuresCarryThePath) {
  RfaSaveParameterFile(RfaDistinctParameters(), Path("p.rfa_bg"));
  RfaParameters read;
  RfaLoadParameterFile(read, Path("p.rfa_bg"));
  EXPECT_EQ(RfaParameterFileText(read), RfaParameterFileText(RfaDistinctParameters()));
  ASSERT_TRUE(ZrTestWriteFile(File("f.rfa_bg"), "<other><Sx_>42.5</Sx_></other>\n"));
  EXPECT_ZR_ERROR(RfaLoadParameterFile(read, Path("f.rfa_bg")), "<no ZrError>");
  EXPECT_EQ(RfaParameterFileText(read), RfaParameterFileText(RfaDistinctParameters()));
  // A file that cannot be read: see the load command's error box.
  const QString unwritable = Path("no/such/dir/p.rfa_bg");
  EXPECT_ZR_ERROR(RfaSaveParameterFile(read, unwritable),
                  "FILE CANNOT WRITE:" + unwritable.toUtf8().toStdString());
}

}  // namespace

// Whole files: reading, and replacement alone or as a group that is put back when one file
// cannot be put in place.
#include "formats/ZrFileBytes.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestUtil.h"

namespace {

class ZrFileBytesTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
  // Everything in the folder, hidden names included, "/" after folders.
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    const QDir d(dir_.path());
    for (const QFileInfo& e : d.entryInfoList(
             QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System, QDir::Name)) {
      names.push_back(e.fileName().toStdString() + (e.isDir() && !e.isSymLink() ? "/" : ""));
    }
    return names;
  }
  QTemporaryDir dir_;
};

struct WriteFailure {
  const char* Name;
  const char* Path;
  const char* Prefix;
  const char* Message;  // "@" stands for the full path
};

class ZrWriteFailure : public ZrFileBytesTest,
                       public ::testing::WithParamInterface<WriteFailure> {};

// A failed write names the file, keeps what was there and leaves no temporary.
TEST_P(ZrWriteFailure, NamesTheFileAndLeavesNothing) {
  ASSERT_TRUE(QDir().mkpath(QString::fromStdString(Path("folder/inner"))));
  const std::vector<std::string> before = Entries();
  const std::string path = Path(GetParam().Path);
  EXPECT_ZR_ERROR(
      ZrWriteFileAtomic(path, "bytes", GetParam().Prefix),
      QString(GetParam().Message).replace("@", QString::fromStdString(path)).toStdString());
  EXPECT_EQ(Entries(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ZrWriteFailure,
    ::testing::Values(
        WriteFailure{"MissingFolder", "none/a.bin", "",
                     "@: cannot write (No such file or directory)"},
        WriteFailure{"FolderInTheWay", "folder", "", "@: cannot write (Is a directory)"},
        WriteFailure{"DocumentText", "none/a.xml", "FILE CANNOT WRITE:", "FILE CANNOT WRITE:@"}),
    ZrCaseName());

TEST_F(ZrFileBytesTest, ReplacesTheFileALinkNamesAndReadsItBack) {
  ASSERT_TRUE(ZrTestWriteFile(Path("target"), "a much longer earlier content"));
  ASSERT_TRUE(
      QFile::link(QString::fromStdString(Path("target")), QString::fromStdString(Path("link"))));
  ZrWriteFileAtomic(Path("link"), std::string("new\0bytes", 9));
  EXPECT_EQ(ZrReadFileBytes(Path("target")), std::string("new\0bytes", 9));
  EXPECT_TRUE(QFileInfo(QString::fromStdString(Path("link"))).isSymLink());
  EXPECT_EQ(Entries(), (std::vector<std::string>{"link", "target"}));
  EXPECT_ZR_ERROR(ZrReadFileBytes(Path("none")),
                  Path("none") + ": cannot open (No such file or directory)");
  EXPECT_ZR_ERROR(ZrReadFileBytes(dir_.path().toStdString()),
                  dir_.path().toStdString() + ": cannot open (not a regular file)");
}

// A file that cannot be put in place after others were: those get their earlier contents back
// (through a link, too), a file that was new is gone, and no temporary or backup is left.
TEST_F(ZrFileBytesTest, GroupIsPutBackWhenALaterFileFails) {
  ASSERT_TRUE(ZrTestWriteFile(Path("a"), "old a"));
  ASSERT_TRUE(ZrTestWriteFile(Path("c"), "old c"));
  ASSERT_TRUE(ZrTestWriteFile(Path("z"), "old z"));
  ASSERT_TRUE(QFile::link(QString::fromStdString(Path("c")), QString::fromStdString(Path("link"))));
  {
    ZrStagedFiles staged;
    for (const char* name : {"a", "link", "new", "z"}) staged.Add(Path(name), "new");
    // The last file's place is taken by a folder after it was staged: only its commit fails.
    ASSERT_TRUE(QFile::remove(QString::fromStdString(Path("z"))));
    ASSERT_TRUE(QDir().mkdir(QString::fromStdString(Path("z"))));
    EXPECT_ZR_ERROR(staged.Commit(), Path("z") + ": cannot write (Is a directory)");
  }
  EXPECT_EQ(ZrTestReadFile(Path("a")) + ZrTestReadFile(Path("c")), "old aold c");
  EXPECT_EQ(Entries(), (std::vector<std::string>{"a", "c", "link", "z/"}));

  ASSERT_TRUE(QDir().rmdir(QString::fromStdString(Path("z"))));
  ZrWriteFilesAtomic({{Path("a"), "1"}, {Path("link"), "2"}, {Path("new"), "3"}, {Path("z"), "4"}});
  EXPECT_EQ(ZrTestReadFile(Path("a")) + ZrTestReadFile(Path("c")) + ZrTestReadFile(Path("new")) +
                ZrTestReadFile(Path("z")),
            "1234");
  EXPECT_EQ(Entries(), (std::vector<std::string>{"a", "c", "link", "new", "z"}));
}

}  // namespace

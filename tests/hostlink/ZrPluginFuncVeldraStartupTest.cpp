// Start-up settings of the host proxy: the command-line scan and the menu-registration file.
#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "tests/common/ZrTestUtil.h"

namespace {

struct CmdlineCase {
  std::vector<std::string> Words;  // argv[1...]; argv[0] is always "/opt/x/prog"
  int32_t Port;
  std::string LocalName;
};

void PrintTo(const CmdlineCase& c, std::ostream* os) {
  for (const auto& w : c.Words) *os << "[" << w << "]";
}

class ZrInitSetCmdline : public ::testing::TestWithParam<CmdlineCase> {};

}  // namespace

TEST_P(ZrInitSetCmdline, ScansEveryWordButTheLastAsAnOptionName) {
  const CmdlineCase& c = GetParam();
  std::vector<std::string> storage = {"/opt/x/prog"};
  storage.insert(storage.end(), c.Words.begin(), c.Words.end());
  std::vector<char*> argv;
  for (auto& s : storage) argv.push_back(&s[0]);
  ZrPluginFuncVeldra host;
  host.InitSetCmdline(static_cast<int>(argv.size()), argv.data());
  EXPECT_EQ(host.ProgramPath(), "/opt/x/prog");
  EXPECT_EQ(host.Port(), c.Port);
  EXPECT_EQ(host.LocalServerName(), c.LocalName);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ZrInitSetCmdline,
    ::testing::Values(CmdlineCase{{}, 14112, "veldraimage"},
                      CmdlineCase{{"-P"}, 14112, "veldraimage"},
                      CmdlineCase{{"-O", "-P"}, 14112, "veldraimage"},
                      CmdlineCase{{"-P", "15000", "-L", "name"}, 15000, "name"},
                      CmdlineCase{{"-P", "x"}, 0, "veldraimage"},
                      CmdlineCase{{"-L", "-P", "9"}, 9, "-P"},
                      CmdlineCase{{"-P", "  77abc"}, 77, "veldraimage"},
                      CmdlineCase{{"-P", "1", "-P", "2"}, 2, "veldraimage"},
                      CmdlineCase{{"-p", "3", "-l", "n", "--P", "4"}, 14112, "veldraimage"},
                      CmdlineCase{{"-P", "-5"}, -5, "veldraimage"},
                      CmdlineCase{{"-L", "\xC3\xA9t\xC3\xA9", "-O"}, 14112, "\xC3\xA9t\xC3\xA9"},
                      CmdlineCase{{"-O", "-L", "a", "-P", "70000"}, 70000, "a"}));

TEST(ZrInitSetCmdlineArgs, NoArgumentsAtAllKeepsEverything) {
  ZrPluginFuncVeldra host;
  host.InitSetCmdline(0, nullptr);
  EXPECT_EQ(host.ProgramPath(), "");
  EXPECT_EQ(host.Port(), 14112);
}

struct MenuNameCase {
  std::string Path, Menu, Exe;
};

class ZrMenuFileName : public ::testing::TestWithParam<MenuNameCase> {};

TEST_P(ZrMenuFileName, ExtensionOfTheFileNameIsReplaced) {
  EXPECT_EQ(ZrPluginFuncVeldra::MenuFileName(GetParam().Path), GetParam().Menu);
  EXPECT_EQ(ZrPluginFuncVeldra::ExeName(GetParam().Path), GetParam().Exe);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ZrMenuFileName,
    ::testing::Values(MenuNameCase{"C:\\tools\\prog.exe", "C:\\tools\\prog.menu", "prog.exe"},
                      MenuNameCase{"/opt/a.b/prog", "/opt/a.b/prog.menu", "prog"},
                      MenuNameCase{"/usr/bin/rfa.bg.bin", "/usr/bin/rfa.bg.menu", "rfa.bg.bin"},
                      MenuNameCase{"prog", "prog.menu", "prog"},
                      MenuNameCase{".prog", ".prog.menu", ".prog"},
                      MenuNameCase{"a.b\\c", "a.b\\c.menu", "c"}, MenuNameCase{"", ".menu", ""}));

// The registration file holds every entry added, each with the executable's file name.
TEST(ZrMenuFile, WritesEveryEntryWithTheExecutableName) {
  QTemporaryDir dir;
  ASSERT_TRUE(dir.isValid());
  std::string program = QDir(dir.path()).filePath("rfa.prog").toStdString();
  char* argv[] = {&program[0]};
  ZrPluginFuncVeldra host;
  host.InitSetCmdline(1, argv);
  host.InitMenuAdd("RFA: Background: Spherical Harmonics", "", "PEH", "-O");
  host.InitMenuAdd("Second <&>", "Sub", "Menu", "-X \"y\"");
  EXPECT_EQ(host.MenuTitle(), "Second <&>");
  host.FileLoaderExtensions() = {"tif", "rawf"};
  host.InitMenuFileWrite();
  std::vector<ZrMenuEntry> entries;
  std::vector<std::string> extensions;
  ZrMenuFileRead(QDir(dir.path()).filePath("rfa.menu").toStdString(), entries, extensions);
  ASSERT_EQ(entries.size(), 2u);
  const ZrMenuEntry& e = entries[1];
  EXPECT_EQ(e.Title + "|" + e.TitleSubmenu + "|" + e.TitleMenu + "|" + e.Exe + "|" + e.Parameter,
            "Second <&>|Sub|Menu|rfa.prog|-X \"y\"");
  EXPECT_EQ(entries[0].Exe, "rfa.prog");
  EXPECT_EQ(extensions, (std::vector<std::string>{"tif", "rawf"}));
}

TEST(ZrMenuFile, UnwritableFileCarriesTheTrail) {
  std::string program = "/nonexistent-folder-zr/prog.bin";
  char* argv[] = {&program[0]};
  ZrPluginFuncVeldra host;
  host.InitSetCmdline(1, argv);
  EXPECT_ZR_ERROR(host.InitMenuFileWrite(),
                  "Cannot File Open /nonexistent-folder-zr/prog.menu/void "
                  "ZrPluginFuncVeldra::InitMenuFileWrite()");
}

// The plug-in menu: registration files written by the plug-in's own start-up code are read,
// turned into menus, and their items start the registered program with the host's port.
#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <string>
#include <vector>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestUtil.h"
#include "viewer/ZrViewerMainWindow.h"
#include "viewer/ZrViewerMenu.h"

namespace {

const char kTitle[] = "RFA: Background: Spherical Harmonics";

// Writes the registration file for a program at programPath exactly as the plug-in does at
// start-up: its entries, its command line, then the file.
void WriteRegistration(const std::string& programPath, const std::vector<ZrMenuEntry>& entries) {
  ZrPluginFuncVeldra plugin;
  for (const ZrMenuEntry& e : entries) {
    plugin.InitMenuAdd(e.Title, e.TitleSubmenu, e.TitleMenu, e.Parameter);
  }
  std::string path = programPath;
  char* argv[] = {path.data()};
  plugin.InitSetCmdline(1, argv);
  plugin.InitMenuFileWrite();
}

QMenu* TopMenu(QMainWindow& window, const QString& title) {
  for (QAction* action : window.menuBar()->actions()) {
    if (action->menu() != nullptr && action->text() == title) return action->menu();
  }
  return nullptr;
}

QAction* Item(QMenu* menu, const QString& title) {
  if (menu == nullptr) return nullptr;
  for (QAction* action : menu->actions()) {
    if (action->text() == title) return action;
  }
  return nullptr;
}

class ZrViewerMenuTest : public ::testing::Test {
 protected:
  QTemporaryDir dir_;
  std::string Path(const char* name) const { return dir_.filePath(name).toStdString(); }
};

// Files in name order, entries in file order; other files and folders are skipped.
TEST_F(ZrViewerMenuTest, ReadsTheEntriesThePluginsRegister) {
  WriteRegistration(Path("rfa-bg"), {{kTitle, "", "PEH", "", "-O"}});
  WriteRegistration(Path("b-tool.x"), {{"B1", "", "M", "", "-1"}, {"B2", "S", "M", "", "-2"}});
  WriteRegistration(Path("a-tool"), {{"A1", "", "N", "", ""}});
  ASSERT_TRUE(ZrTestWriteFile(Path("c-other.menu"), "<OTHER-MENU><item>x</item></OTHER-MENU>\n"));
  ASSERT_TRUE(ZrTestWriteFile(Path("notes.txt"), "<VELDRA-MENU></VELDRA-MENU>\n"));
  ASSERT_TRUE(QDir(dir_.path()).mkdir("sub.menu"));  // a folder is not a file
  std::vector<std::string> errors;
  const auto items = ZrViewerMenuScan(dir_.path().toStdString(), &errors);
  std::vector<std::string> read;
  for (const ZrViewerMenuItem& i : items) {
    read.push_back(i.Entry.Title + "|" + i.Entry.TitleSubmenu + "|" + i.Entry.TitleMenu + "|" +
                   i.Entry.Exe + "|" + i.Entry.Parameter);
  }
  EXPECT_EQ(read,
            (std::vector<std::string>{"A1||N|a-tool|", "B1||M|b-tool.x|-1", "B2|S|M|b-tool.x|-2",
                                      std::string(kTitle) + "||PEH|rfa-bg|-O"}));
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[3].MenuFile, QDir(dir_.path()).absoluteFilePath("rfa-bg.menu").toStdString());
  EXPECT_EQ(errors, std::vector<std::string>{
                        "Not a menu registration file:" +
                        QDir(dir_.path()).absoluteFilePath("c-other.menu").toStdString()});
  EXPECT_TRUE(ZrViewerMenuScan(Path("no-such-folder")).empty());
}

struct LaunchCase {
  const char* Parameter;
  uint16_t Port;
  std::vector<QString> Arguments;
};

class ZrViewerLaunchTest : public ::testing::TestWithParam<LaunchCase> {};

TEST_P(ZrViewerLaunchTest, ProgramBesideTheFileWithParameterAndPort) {
  const LaunchCase& c = GetParam();
  ZrViewerMenuItem item{"/opt/plug ins/rfa-bg.menu", {kTitle, "", "PEH", "rfa-bg", c.Parameter}};
  const ZrViewerLaunch launch = ZrViewerMenuLaunch(item, c.Port);
  EXPECT_EQ(launch.Program, "/opt/plug ins/rfa-bg");
  EXPECT_EQ(launch.Arguments, QStringList(c.Arguments.begin(), c.Arguments.end()));
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, ZrViewerLaunchTest,
    ::testing::Values(LaunchCase{"-O", 14112, {"-O", "-P", "14112"}},
                      LaunchCase{"", 1, {"-P", "1"}},
                      LaunchCase{"-a  -b", 65535, {"-a", "-b", "-P", "65535"}},
                      LaunchCase{"-f \"a b.rfa_bg\"", 40000, {"-f", "a b.rfa_bg", "-P", "40000"}}));

TEST(ZrViewerLaunch, EntryWithoutExeIsRefused) {
  ZrViewerMenuItem item{"/x/y.menu", {kTitle, "", "PEH", "", "-O"}};
  EXPECT_ZR_ERROR(ZrViewerMenuLaunch(item, 1), "Menu entry has no Exe:/x/y.menu");
}

// Menus, submenus and items as registered. A stand-in program that records its arguments
// shows the exact command line an item gives; a missing program is reported as not started.
TEST_F(ZrViewerMenuTest, MenusAsRegisteredItemsStartTheirProgramWithParameterAndPort) {
  const QString script = dir_.filePath("recorder.sh");
  ASSERT_TRUE(ZrTestWriteFile(
      script.toStdString(), "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$(dirname \"$0\")/args.txt\"\n"));
  QFile::setPermissions(script, QFile::permissions(script) | QFile::ExeOwner);
  WriteRegistration(script.toStdString(), {{kTitle, "", "PEH", "", "-O"},
                                           {"Fit & show", "More", "PEH", "", "-F"},
                                           {"Other item", "", "Extra", "", ""}});
  WriteRegistration(Path("missing-program"), {{"Missing", "", "PEH", "", "-O"}});
  ZrRefHost host;
  ZrViewerMainWindow window(host, 23456);
  EXPECT_EQ(window.LoadPlugins(dir_.path().toStdString()).size(), 4u);
  QMenu* peh = TopMenu(window, "PEH");
  QAction* more = Item(peh, "More");
  ASSERT_TRUE(more != nullptr && more->menu() != nullptr);
  // "&" is shown as registered, not taken as a mnemonic.
  EXPECT_NE(Item(more->menu(), "Fit && show"), nullptr);
  EXPECT_NE(Item(TopMenu(window, "Extra"), "Other item"), nullptr);
  // Loading again replaces the menus instead of adding a second set.
  window.LoadPlugins(dir_.path().toStdString());
  int pehMenus = 0;
  for (QAction* action : window.menuBar()->actions()) pehMenus += action->text() == "PEH";
  EXPECT_EQ(pehMenus, 1);

  QAction* item = Item(TopMenu(window, "PEH"), kTitle);
  ASSERT_NE(item, nullptr);
  item->trigger();
  EXPECT_EQ(window.LastLaunch().Program, script);
  ASSERT_TRUE(QTest::qWaitFor([&] { return QFile(dir_.filePath("args.txt")).size() > 0; }, 10000));
  EXPECT_EQ(ZrTestReadFile(Path("args.txt")), "-O\n-P\n23456\n");
  QProcess* process = window.StartPlugin(ZrViewerMenuScan(dir_.path().toStdString()).at(0));
  ASSERT_NE(process, nullptr);
  EXPECT_FALSE(process->waitForStarted(5000));
  EXPECT_EQ(process->error(), QProcess::FailedToStart);
}

}  // namespace

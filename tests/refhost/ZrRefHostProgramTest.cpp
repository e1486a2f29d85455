// veldra-refhost as a child process: command-line preloading, request log, exit dump, the
// control requests; and the dump of the in-process host.
#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>

#include "imageio/ZrImageFile.h"
#include "tests/common/ZrRefHostProcess.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"

TEST(ZrRefHostProgram, PreloadsServesLogsAndDumpsAtExit) {
  QTemporaryDir dir;
  ASSERT_TRUE(dir.isValid());
  const QString imagePath = QDir(dir.path()).filePath("a.rawf");
  ZrFloatMatrix image(3, 2);
  image.SetBegin(4, -1);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i) - 2.5f;
  ZrImageWrite(imagePath.toStdString(), image);
  const QString logPath = QDir(dir.path()).filePath("requests.log");
  const QString dumpDir = QDir(dir.path()).filePath("dump");

  QProcess program;
  std::string line;
  const int32_t port =
      ZrStartRefHost(program, ZR_REFHOST_EXE,
                     {"--port", "0", "--local-name", "", "--image", imagePath, "--image", imagePath,
                      "--focus", "1", "--log", logPath, "--dump-at-exit", dumpDir},
                     10000, line);
  ASSERT_GT(port, 0) << line;

  ZrPluginFuncVeldra client("localhost", port);
  client.SetPollCount(1000);
  client.SubConnect();
  EXPECT_EQ(client.WindowGetFocusedID(), 1);
  ZrFloatMatrix got;
  client.ImageGet(2, got, false);
  EXPECT_TRUE(ZrSameBits(got, image));
  client.ImageKeyStringSet(2, {{"note", "a<b"}});

  program.terminate();  // SIGTERM: the host ends its loop and dumps
  ASSERT_TRUE(program.waitForFinished(10000));
  EXPECT_EQ(std::make_pair(program.exitStatus(), program.exitCode()),
            std::make_pair(QProcess::NormalExit, 0));

  EXPECT_EQ(ZrTestReadFile(logPath.toStdString()),
            "<air><i0><cmd>WindowGetFocusedID</cmd>\n</i0>\n</air>\n"
            "<air><i0><cmd>FIImageGetBySharedMemory</cmd>\n<IDDocChildWindow>2</IDDocChildWindow>\n"
            "</i0>\n</air>\n"
            "<air><i0><cmd>ImageKeyStringSet</cmd>\n<IDDocChildWindow>2</IDDocChildWindow>\n"
            "<ImageKeyString><i0><key>note</key>\n<val>a&lt;b</val>\n</i0>\n</ImageKeyString>\n"
            "</i0>\n</air>\n");
  EXPECT_TRUE(ZrSameBits(ZrImageRead((dumpDir + "/window_2.rawf").toStdString()), image));
  EXPECT_NE(ZrTestReadFile((dumpDir + "/window_2.xml").toStdString())
                .find("<key>note</key>\n<val>a&lt;b</val>"),
            std::string::npos);
}

TEST(ZrRefHostProgram, BadPortIsRefusedAndHelpListsTheViewerOptions) {
  QProcess program;
  program.start(ZR_REFHOST_EXE, {"--port", "70000"});
  ASSERT_TRUE(program.waitForFinished(10000));
  EXPECT_EQ(program.exitCode(), 2);
  EXPECT_EQ(program.readAllStandardError().toStdString(), "veldra-refhost: bad port 70000\n");
  program.start(ZR_REFHOST_EXE, {"--help"});
  ASSERT_TRUE(program.waitForFinished(10000));
  const std::string help = program.readAllStandardOutput().toStdString();
  for (const char* option : {"--gui", "--plugin-dir <folder>", "--port <port>"}) {
    EXPECT_NE(help.find(option), std::string::npos) << option << " in\n" << help;
  }
}

using ZrRefHostDump = ZrRefHostFixture;

TEST_F(ZrRefHostDump, DumpWritesImageAndRecordOfEveryWindow) {
  QTemporaryDir dir;
  ZrFloatMatrix image(2, 2);
  image.Fill(4.0f);
  const int32_t a = host_.AddImageWindow(image, "/data/a.tif");
  const int32_t b = client_->ImageNewWindow();
  client_->RegionAdd(a, ZrRegion{"ELLIPSE", 1, 1, 2, 2, {}, false, "r"});
  client_->ImageKeyDoubleSet(a, {{"Sx", 0.5}});
  host_.Dump((dir.path() + "/d").toStdString());
  const auto file = [&](int32_t id, const char* ext) {
    return (dir.path() + "/d/window_" + QString::number(id) + ext).toStdString();
  };
  EXPECT_TRUE(ZrSameBits(ZrImageRead(file(a, ".rawf")), image));
  // The empty window has its record only.
  EXPECT_EQ(ZrTestReadFile(file(b, ".rawf")), "");
  EXPECT_NE(ZrTestReadFile(file(b, ".xml")), "");
  for (const char* part :
       {"<fileName>/data/a.tif</fileName>", "<key>Sx</key>", "<regionType>ELLIPSE</regionType>"}) {
    EXPECT_NE(ZrTestReadFile(file(a, ".xml")).find(part), std::string::npos) << part;
  }
}

namespace {

// "@" in a folder or answer stands for the test's temporary folder, which holds the output
// folder "out" and the symbolic link "out/link" to "outside".
struct ControlCase {
  const char* Name;
  bool Allowed;
  const char* Cmd;
  const char* Folder;
  const char* ReturnCode;
  const char* DumpedTo;  // relative to "@"; empty: nothing may be written anywhere
};

class ZrRefHostControl : public ::testing::TestWithParam<ControlCase> {};

}  // namespace

TEST_P(ZrRefHostControl, OffByDefaultAndDumpsOnlyInsideTheOutputFolder) {
  const ControlCase& c = GetParam();
  QTemporaryDir dir;
  ASSERT_TRUE(QDir(dir.path()).mkpath("out") && QDir(dir.path()).mkpath("outside"));
  ASSERT_TRUE(QFile::link(dir.path() + "/outside", dir.path() + "/out/link"));
  auto at = [&](const char* text) { return QString(text).replace("@", dir.path()).toStdString(); };
  ZrRefHost host;
  host.AddImageWindow(ZrFloatMatrix(1, 1));
  host.SetOutputDir((dir.path() + "/out").toStdString());
  if (c.Allowed) host.SetControlRequests(true);
  const ZrRefHostAnswer answer =
      host.Handle(std::string("<air><i0><cmd>") + c.Cmd + "</cmd>\n<folder>" + at(c.Folder) +
                  "</folder>\n</i0>\n</air>\n");
  EXPECT_NE(answer.Text.find("<ReturnCode>" + at(c.ReturnCode) + "</ReturnCode>"),
            std::string::npos)
      << answer.Text;
  EXPECT_EQ(answer.Quit, c.Allowed && std::string(c.Cmd) == "RefHostQuit");
  QStringList written;
  for (QDirIterator it(dir.path(), {"window_1.xml"}, QDir::Files, QDirIterator::Subdirectories);
       it.hasNext();) {
    written << QDir(dir.path()).relativeFilePath(it.next());
  }
  EXPECT_EQ(written,
            *c.DumpedTo ? QStringList(QString(c.DumpedTo) + "/window_1.xml") : QStringList());
}

INSTANTIATE_TEST_SUITE_P(
    Requests, ZrRefHostControl,
    ::testing::Values(ControlCase{"QuitOff", false, "RefHostQuit", "",
                                  "Control requests are not allowed:RefHostQuit", ""},
                      ControlCase{"DumpOff", false, "RefHostDump", "d",
                                  "Control requests are not allowed:RefHostDump", ""},
                      ControlCase{"Quit", true, "RefHostQuit", "", "ok", ""},
                      ControlCase{"DumpInside", true, "RefHostDump", "d/e", "ok", "out/d/e"},
                      ControlCase{"AbsoluteInside", true, "RefHostDump", "@/out/f/../g", "ok",
                                  "out/g"},
                      ControlCase{"Upwards", true, "RefHostDump", "d/../../up",
                                  "Folder is outside the output folder:d/../../up", ""},
                      ControlCase{"AbsoluteOutside", true, "RefHostDump", "@/abs",
                                  "Folder is outside the output folder:@/abs", ""},
                      ControlCase{"ThroughLink", true, "RefHostDump", "link/x",
                                  "Folder is outside the output folder:link/x", ""}),
    ZrCaseName());

// The program serves the control requests only when started with --allow-control.
TEST(ZrRefHostProgram, QuitRequestNeedsAllowControl) {
  for (const bool allowed : {false, true}) {
    QProcess program;
    std::string line;
    QStringList args = {"--port", "0", "--local-name", ""};
    if (allowed) args << "--allow-control";
    const int32_t port = ZrStartRefHost(program, ZR_REFHOST_EXE, args, 10000, line);
    ASSERT_GT(port, 0) << line;
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", static_cast<quint16>(port));
    ASSERT_TRUE(socket.waitForConnected(5000));
    socket.write("<air><i0><cmd>RefHostQuit</cmd>\n</i0>\n</air>\n");
    ASSERT_TRUE(socket.waitForReadyRead(5000));
    const std::string code = allowed ? "ok" : "Control requests are not allowed:RefHostQuit";
    EXPECT_NE(socket.readAll().toStdString().find("<ReturnCode>" + code + "</ReturnCode>"),
              std::string::npos);
    EXPECT_EQ(program.waitForFinished(allowed ? 10000 : 300), allowed);
    program.kill();
    program.waitForFinished(5000);
  }
}

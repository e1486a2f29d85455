// The program: veldra-refhost --gui serves the host like the headless mode, with its files open
// in windows, and ends on the host's quit request.
#include <gtest/gtest.h>
#include <QDir>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <string>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "imageio/ZrImageFile.h"
#include "tests/common/ZrRefHostProcess.h"
#include "tests/common/ZrTestImages.h"

#ifdef ZR_REFHOST_EXE
namespace {

// The program's environment. In a sanitizer build its leak check is off: on the offscreen
// platform Qt never frees its screen objects, and these tests are about exit codes and texts.
QProcessEnvironment ProgramEnvironment() {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  const QString asan = environment.value("ASAN_OPTIONS");
  environment.insert("ASAN_OPTIONS", asan + (asan.isEmpty() ? "" : ":") + "detect_leaks=0");
  return environment;
}

TEST(ZrViewerProgram, GuiModeServesTheHostAndQuitsOnRequest) {
  QTemporaryDir dir;
  const QString imagePath = QDir(dir.path()).filePath("a.rawf");
  ZrFloatMatrix image(5, 3);
  image.SetBegin(2, 7);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i) * 0.5f;
  ZrImageWrite(imagePath.toStdString(), image);

  QProcess program;
  program.setProcessEnvironment(ProgramEnvironment());
  std::string line;
  const int32_t port = ZrStartRefHost(program, ZR_REFHOST_EXE,
                                      {"--gui", "--port", "0", "--local-name", "",
                                       "--allow-control", "--plugin-dir", dir.path(), imagePath},
                                      20000, line);
  ASSERT_GT(port, 0) << line;

  {
    ZrPluginFuncVeldra client("localhost", port);
    client.SetPollCount(1000);
    client.SubConnect();
    EXPECT_EQ(client.WindowGetFocusedID(), 1);
    ZrFloatMatrix got;
    client.ImageGet(1, got, false);
    EXPECT_TRUE(ZrSameBits(got, image));
  }

  QTcpSocket socket;
  socket.connectToHost("127.0.0.1", static_cast<quint16>(port));
  ASSERT_TRUE(socket.waitForConnected(5000));
  socket.write("<air><i0><cmd>RefHostQuit</cmd>\n</i0>\n</air>\n");
  ASSERT_TRUE(socket.waitForBytesWritten(5000));
  ASSERT_TRUE(program.waitForFinished(20000));
  EXPECT_EQ(std::make_pair(program.exitStatus(), program.exitCode()),
            std::make_pair(QProcess::NormalExit, 0));
}

struct BadStart {
  const char* Name;
  QStringList Arguments;
  const char* Error;  // the last line of standard error (Qt may warn before it)
  bool Display = true;
};

std::string LastLine(const QByteArray& text) {
  const QList<QByteArray> lines = text.trimmed().split('\n');
  return lines.isEmpty() ? std::string() : lines.back().toStdString();
}

class ZrViewerProgramBadStart : public ::testing::TestWithParam<BadStart> {};

TEST_P(ZrViewerProgramBadStart, EndsWithExitCode2AndTheReason) {
  QProcess program;
  QProcessEnvironment environment = ProgramEnvironment();
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    if (!GetParam().Display) environment.remove(name);
  }
  program.setProcessEnvironment(environment);
  program.start(ZR_REFHOST_EXE, GetParam().Arguments);
  ASSERT_TRUE(program.waitForFinished(20000));
  EXPECT_EQ(program.exitCode(), 2);
  EXPECT_EQ(LastLine(program.readAllStandardError()), GetParam().Error);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrViewerProgramBadStart,
    ::testing::Values(
        BadStart{"BadPort", {"--gui", "--port", "70000"}, "veldra-refhost: bad port 70000"},
        BadStart{"MissingFile",
                 {"--gui", "--port", "0", "--local-name", "", "/nonexistent/x.rawf"},
                 "veldra-refhost: /nonexistent/x.rawf: cannot open (No such file or directory)"},
        BadStart{"NoDisplay",
                 {"--gui", "--port", "0"},
                 "veldra-refhost: --gui needs a display (DISPLAY is not set); without one run it "
                 "headless (no --gui)",
                 false}),
    [](const ::testing::TestParamInfo<BadStart>& test) { return std::string(test.param.Name); });

}  // namespace
#endif

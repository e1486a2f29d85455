// The built plug-in program as a process: without a host it writes its registration file and
// ends abnormally before any window; with a host it connects and keeps running.
#include <gtest/gtest.h>

#include <QProcess>

#include "refhost/ZrRefHost.h"
#include "tests/app/RfaAppTestUtil.h"
#include "tests/common/ZrTestPorts.h"

namespace {

TEST(RfaProgram, WithoutHostWritesTheMenuFileAndEndsAbnormallyWithOneKeepsRunning) {
  // A private copy, so the ".menu" file (written beside the executable) is this test's own.
  QTemporaryDir dir;
  const QString program = dir.filePath("rfa-bg");
  ASSERT_TRUE(QFile::copy(RFA_BG_PATH, program));
  QProcess process;  // ends the program, should a check stop the test early
  process.setWorkingDirectory(dir.path());
  const QString freePort = QString::number(ZrFreeLocalPort());
  process.start(program, {"-P", freePort, "-O"});  // as the host starts it from its menu
  ASSERT_TRUE(process.waitForFinished(30000));
  EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
  const QByteArray err = process.readAllStandardError();
  EXPECT_NE(err.indexOf("terminate called after throwing an instance of 'ZrError'"), -1)
      << err.toStdString();
  const std::string menu = ZrTestReadFile(dir.filePath("rfa-bg.menu").toStdString());
  for (const char* element : {"<Exe>rfa-bg</Exe>", "<Parameter>-O</Parameter>",
                              "<Title>RFA: Background: Spherical Harmonics</Title>",
                              "<TitleSubmenu></TitleSubmenu>", "<TitleMenu>PEH</TitleMenu>"}) {
    EXPECT_NE(menu.find(element), std::string::npos) << element << " in " << menu;
  }

  ZrRefHost host;
  ZrRefHostThread server(host);
  ASSERT_TRUE(server.Start(0));
  process.start(program, {"-P", QString::number(server.Port()), "-O"});
  ASSERT_TRUE(process.waitForStarted(10000));
  // Without a host the program is gone well within this time (see above).
  EXPECT_FALSE(process.waitForFinished(2000)) << process.readAllStandardError().toStdString();
  EXPECT_EQ(process.state(), QProcess::Running);
  process.terminate();
  process.waitForFinished(5000);
  server.Stop();
}

}  // namespace

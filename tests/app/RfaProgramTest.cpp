// The built plug-in program as a process: without a host it writes its registration file and
// ends abnormally before any window; with a host it connects and keeps running.
#include <gtest/gtest.h>

#include <QProcess>
#include <QTcpServer>

#include "refhost/ZrRefHost.h"
#include "tests/app/RfaAppTestUtil.h"

namespace {

class RfaProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // A private copy, so the ".menu" file (written beside the executable) is this test's own.
    ASSERT_TRUE(dir_.isValid());
    ASSERT_TRUE(QFile::copy(RFA_BG_PATH, dir_.filePath("rfa-bg")));
    process_.setWorkingDirectory(dir_.path());
  }

  void TearDown() override {
    if (process_.state() != QProcess::NotRunning) {
      process_.kill();
      process_.waitForFinished(5000);
    }
  }

  // Starts the copy as the host starts it from its menu ("-O" appended).
  void Start(int port) {
    process_.start(dir_.filePath("rfa-bg"), {"-P", QString::number(port), "-O"});
  }
  std::string MenuFile() const {
    return ZrTestReadFile(dir_.filePath("rfa-bg.menu").toStdString());
  }

  QTemporaryDir dir_;
  QProcess process_;
};

TEST_F(RfaProgramTest, WithoutHostWritesTheMenuFileAndEndsAbnormally) {
  QTcpServer probe;  // a port where nothing listens
  probe.listen(QHostAddress::LocalHost, 0);
  const int port = probe.serverPort();
  probe.close();
  Start(port);
  ASSERT_TRUE(process_.waitForFinished(30000));
  EXPECT_EQ(process_.exitStatus(), QProcess::CrashExit);
  const QByteArray err = process_.readAllStandardError();
  EXPECT_NE(err.indexOf("terminate called after throwing an instance of 'ZrError'"), -1)
      << err.toStdString();
  const std::string menu = MenuFile();
  for (const char* element : {"<Exe>rfa-bg</Exe>", "<Parameter>-O</Parameter>",
                              "<Title>RFA: Background: Spherical Harmonics</Title>",
                              "<TitleSubmenu></TitleSubmenu>", "<TitleMenu>PEH</TitleMenu>"}) {
    EXPECT_NE(menu.find(element), std::string::npos) << element << " in " << menu;
  }
}

TEST_F(RfaProgramTest, WithHostConnectsAndRuns) {
  ZrRefHost host;
  ZrRefHostThread server(host);
  ASSERT_TRUE(server.Start(0));
  Start(server.Port());
  ASSERT_TRUE(process_.waitForStarted(10000));
  // Without a host the program is gone well within this time (see above).
  EXPECT_FALSE(process_.waitForFinished(2000)) << process_.readAllStandardError().toStdString();
  EXPECT_EQ(process_.state(), QProcess::Running);
  EXPECT_NE(MenuFile().find("<TitleMenu>PEH</TitleMenu>"), std::string::npos);
  process_.terminate();
  process_.waitForFinished(5000);
  server.Stop();
}

}  // namespace

// The built plug-in program as a process: without a host it writes its registration file and
// ends abnormally before any window; with a host it connects and keeps running.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <memory>

#include "refhost/ZrRefHost.h"

namespace {

class RfaProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // A private copy, so the ".menu" file (written beside the executable) is this test's own.
    ASSERT_TRUE(dir_.isValid());
    program_ = dir_.filePath("rfa-bg");
    ASSERT_TRUE(QFile::copy(RFA_BG_PATH, program_));
    process_.setWorkingDirectory(dir_.path());
  }

  void TearDown() override {
    if (process_.state() != QProcess::NotRunning) {
      process_.kill();
      process_.waitForFinished(5000);
    }
  }

  // A port where nothing listens.
  static int ClosedPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const int port = probe.serverPort();
    probe.close();
    return port;
  }

  QByteArray MenuFile() {
    QFile menu(dir_.filePath("rfa-bg.menu"));
    return menu.open(QIODevice::ReadOnly) ? menu.readAll() : QByteArray("<missing>");
  }

  QTemporaryDir dir_;
  QString program_;
  QProcess process_;
};

TEST_F(RfaProgramTest, WithoutHostWritesTheMenuFileAndEndsAbnormally) {
  // The host appends "-O" when it starts the program from its menu.
  process_.start(program_, {"-P", QString::number(ClosedPort()), "-O"});
  ASSERT_TRUE(process_.waitForFinished(30000));
  EXPECT_EQ(process_.exitStatus(), QProcess::CrashExit);
  const QByteArray err = process_.readAllStandardError();
  EXPECT_NE(err.indexOf("terminate called after throwing an instance of 'ZrError'"), -1)
      << err.toStdString();
  const QByteArray menu = MenuFile();
  EXPECT_NE(menu.indexOf("<Exe>rfa-bg</Exe>"), -1) << menu.toStdString();
  EXPECT_NE(menu.indexOf("<Parameter>-O</Parameter>"), -1);
  EXPECT_NE(menu.indexOf("<Title>RFA: Background: Spherical Harmonics</Title>"), -1);
  EXPECT_NE(menu.indexOf("<TitleSubmenu></TitleSubmenu>"), -1);
  EXPECT_NE(menu.indexOf("<TitleMenu>PEH</TitleMenu>"), -1);
}

TEST_F(RfaProgramTest, WithHostConnectsAndRuns) {
  ZrRefHost host;
  ZrRefHostThread server(host);
  ASSERT_TRUE(server.Start(0));
  process_.start(program_, {"-P", QString::number(server.Port()), "-O"});
  ASSERT_TRUE(process_.waitForStarted(10000));
  // Without a host the program is gone well within this time (see above).
  EXPECT_FALSE(process_.waitForFinished(2000)) << process_.readAllStandardError().toStdString();
  EXPECT_EQ(process_.state(), QProcess::Running);
  EXPECT_NE(MenuFile().indexOf("<TitleMenu>PEH</TitleMenu>"), -1);
  process_.terminate();
  process_.waitForFinished(5000);
  server.Stop();
}

}  // namespace

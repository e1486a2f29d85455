// The client sockets: connecting, polling reads, the 65535-byte read size and zero bytes.
#include "hostlink/ZrCommonClientSocket.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <memory>

namespace {

class ZrClientSocket : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.listen(QHostAddress::LocalHost, 0));
    client_ = std::make_unique<ZrCommonClientTcpSocket>("127.0.0.1", server_.serverPort());
    ASSERT_TRUE(client_->Connect());
    ASSERT_TRUE(server_.waitForNewConnection(1000));
    peer_ = server_.nextPendingConnection();
    ASSERT_NE(peer_, nullptr);
  }

  void Send(const QByteArray& bytes) {
    peer_->write(bytes);
    ASSERT_TRUE(peer_->waitForBytesWritten(1000));
  }

  QTcpServer server_;
  std::unique_ptr<ZrCommonClientTcpSocket> client_;
  QTcpSocket* peer_ = nullptr;
};

}  // namespace

TEST_F(ZrClientSocket, ReadWithoutDataReturnsFalseAndEmptyText) {
  client_->ReceivedText = "old";
  EXPECT_TRUE(client_->IsConnected());
  EXPECT_FALSE(client_->Read());
  EXPECT_EQ(client_->ReceivedText, "");
}

TEST_F(ZrClientSocket, TextEndsAtTheFirstZeroByte) {
  Send(QByteArray("<air>\0tail", 10));
  QElapsedTimer timer;
  timer.start();
  bool got = false;
  while (!got && timer.elapsed() < 2000) got = client_->Read();
  ASSERT_TRUE(got);
  EXPECT_EQ(client_->ReceivedText, "<air>");
}

TEST_F(ZrClientSocket, LargeDataArrivesOverSeveralReadsOfAtMost65535Bytes) {
  const QByteArray data(150000, 'x');
  peer_->write(data);
  size_t total = 0, reads = 0, largest = 0;
  QElapsedTimer timer;
  timer.start();
  while (total < 150000 && timer.elapsed() < 5000) {
    peer_->waitForBytesWritten(10);
    if (client_->Read()) {
      total += client_->ReceivedText.size();
      largest = std::max(largest, client_->ReceivedText.size());
      ++reads;
    }
  }
  EXPECT_EQ(total, 150000u);
  EXPECT_GE(reads, 3u);
  EXPECT_LE(largest, 65535u);
}

TEST_F(ZrClientSocket, WriteSendsTheTextUpToItsFirstZeroByte) {
  EXPECT_TRUE(client_->Write(std::string("<air></air>\n\0hidden", 19)));
  QByteArray received;
  QElapsedTimer timer;
  timer.start();
  while (received.size() < 12 && timer.elapsed() < 2000) {
    peer_->waitForReadyRead(10);
    received += peer_->readAll();
  }
  peer_->waitForReadyRead(20);
  received += peer_->readAll();
  EXPECT_EQ(received.toStdString(), "<air></air>\n");
}

TEST(ZrClientSocketMissing, ConnectToMissingServerFailsWithinTheTimeout) {
  QTcpServer probe;
  ASSERT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
  const uint16_t port = probe.serverPort();
  probe.close();
  ZrCommonClientTcpSocket tcp("127.0.0.1", port);
  QElapsedTimer timer;
  timer.start();
  EXPECT_FALSE(tcp.Connect());
  EXPECT_FALSE(tcp.IsConnected());
  EXPECT_LE(timer.elapsed(), 1500);
  EXPECT_FALSE(tcp.Read());
  EXPECT_FALSE(tcp.Write("x"));
  ZrCommonClientLocalSocket local("zr-no-such-local-server");
  EXPECT_FALSE(local.Connect());
  EXPECT_FALSE(local.IsConnected());
  EXPECT_EQ(local.ServerName(), "zr-no-such-local-server");
}

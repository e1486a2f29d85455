// The client sockets: connecting, polling reads, the 65535-byte read size and zero bytes.
#include "hostlink/ZrCommonClientSocket.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <memory>

#include "tests/common/ZrTestPorts.h"

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

  // The texts of the client's successful reads until `bytes` have come or 5 s have passed.
  std::vector<std::string> ReadTexts(size_t bytes) {
    std::vector<std::string> texts;
    size_t total = 0;
    QElapsedTimer timer;
    timer.start();
    while (total < bytes && timer.elapsed() < 5000) {
      peer_->waitForBytesWritten(10);
      if (client_->Read()) {
        texts.push_back(client_->ReceivedText);
        total += texts.back().size();
      }
    }
    return texts;
  }

  QTcpServer server_;
  std::unique_ptr<ZrCommonClientTcpSocket> client_;
  QTcpSocket* peer_ = nullptr;
};

}  // namespace

// A zero byte ends the text both ways; a read without data gives false and an empty text.
TEST_F(ZrClientSocket, TextsEndAtTheFirstZeroByte) {
  client_->ReceivedText = "old";
  EXPECT_TRUE(client_->IsConnected());
  EXPECT_FALSE(client_->Read());
  EXPECT_EQ(client_->ReceivedText, "");
  peer_->write(QByteArray("<air>\0tail", 10));
  EXPECT_EQ(ReadTexts(1), std::vector<std::string>{"<air>"});

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

TEST_F(ZrClientSocket, LargeDataArrivesOverSeveralReadsOfAtMost65535Bytes) {
  peer_->write(QByteArray(150000, 'x'));
  size_t total = 0;
  const std::vector<std::string> texts = ReadTexts(150000);
  for (const std::string& text : texts) {
    total += text.size();
    EXPECT_LE(text.size(), 65535u);
  }
  EXPECT_EQ(total, 150000u);
  EXPECT_GE(texts.size(), 3u);
}

TEST(ZrClientSocketMissing, ConnectToMissingServerFailsWithinTheTimeout) {
  const uint16_t port = ZrFreeLocalPort();
  ASSERT_NE(port, 0);
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
}

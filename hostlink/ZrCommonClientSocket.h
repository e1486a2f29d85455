// Client sockets to the host: they only move text; the exchange finds the message ends.
#pragma once

#include <QLocalSocket>
#include <QTcpSocket>
#include <cstdint>
#include <memory>
#include <string>

class QThread;

class ZrCommonClientSocket {
 public:
  virtual ~ZrCommonClientSocket() = default;

  virtual void Close() = 0;
  virtual bool IsConnected() = 0;
  virtual bool Connect() = 0;
  // Waits up to the read wait (10 ms) and takes at most 65535 bytes; the received text is
  // replaced by the bytes up to the first zero byte. True when at least one byte came.
  virtual bool Read() = 0;
  virtual bool Write(const std::string& text) = 0;
  virtual void MoveToThread(QThread* thread) = 0;

  std::string ReceivedText;

  // Timings; defaults are the protocol's, tests may shorten them.
  int ConnectTimeoutMs = 1000;
  int ReadWaitMs = 10;
  int WriteTimeoutMs = 30000;
};

class ZrCommonClientTcpSocket : public ZrCommonClientSocket {
 public:
  ZrCommonClientTcpSocket(std::string hostName, uint16_t port);
  ~ZrCommonClientTcpSocket() override;

  void Close() override;
  bool IsConnected() override;
  bool Connect() override;
  bool Read() override;
  bool Write(const std::string& text) override;
  void MoveToThread(QThread* thread) override;

  const std::string& HostName() const { return hostName_; }
  uint16_t Port() const { return port_; }

 private:
  std::unique_ptr<QTcpSocket> socket_;
  std::string hostName_;
  uint16_t port_;
};

class ZrCommonClientLocalSocket : public ZrCommonClientSocket {
 public:
  explicit ZrCommonClientLocalSocket(std::string serverName);
  ~ZrCommonClientLocalSocket() override;

  void Close() override;
  bool IsConnected() override;
  bool Connect() override;
  bool Read() override;
  bool Write(const std::string& text) override;
  void MoveToThread(QThread* thread) override;

  const std::string& ServerName() const { return serverName_; }

 private:
  std::unique_ptr<QLocalSocket> socket_;
  std::string serverName_;
};

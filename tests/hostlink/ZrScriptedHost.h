// A stand-in for the host on loopback TCP, on a thread of its own so that the client can block
// in its waits on the test thread. It cuts what it receives into requests after each "</air>"
// and the blanks that follow it, and answers each with what the test's script returns for it.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <algorithm>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

struct ZrScriptedAnswer {
  std::string Text;
  int SplitBytes = 0;           // > 0: sent in writes of this many bytes, 2 ms apart
  int DelayMs = 0;              // waited before answering
  bool CloseMidAnswer = false;  // half of the text goes out, then the connection is closed
};

class ZrScriptedHost : public QThread {
 public:
  // Called on the host's thread.
  using Script = std::function<ZrScriptedAnswer(const std::string& request)>;

  explicit ZrScriptedHost(Script script) : script_(std::move(script)) {
    start();
    std::unique_lock<std::mutex> lock(mutex_);
    ready_.wait(lock, [this] { return listening_; });
  }
  ~ZrScriptedHost() override {
    quit();
    wait();
  }

  uint16_t Port() const { return port_; }
  std::vector<std::string> Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }

 protected:
  void run() override {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&server, &QTcpServer::newConnection, [this, &server] {
      while (QTcpSocket* socket = server.nextPendingConnection()) {
        QObject::connect(socket, &QTcpSocket::readyRead, [this, socket] { Serve(socket); });
      }
    });
    {
      std::lock_guard<std::mutex> lock(mutex_);
      port_ = server.serverPort();
      listening_ = true;
    }
    ready_.notify_all();
    exec();
  }

 private:
  void Serve(QTcpSocket* socket) {
    std::string& received = received_[socket];
    received += socket->readAll().toStdString();
    for (size_t end; (end = received.find("</air>")) != std::string::npos;) {
      // A request keeps the blanks after its end tag, as they came.
      const size_t next = std::min(received.find_first_not_of(" \t\r\n", end + 6), received.size());
      const std::string request = received.substr(0, next);
      received.erase(0, next);
      {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
      }
      const ZrScriptedAnswer answer = script_(request);
      QThread::msleep(static_cast<unsigned long>(answer.DelayMs));
      const size_t size = answer.CloseMidAnswer ? answer.Text.size() / 2 : answer.Text.size();
      const size_t step = answer.SplitBytes > 0 ? static_cast<size_t>(answer.SplitBytes) : size;
      for (size_t at = 0; at < size; at += step) {
        socket->write(answer.Text.data() + at, static_cast<qint64>(std::min(step, size - at)));
        socket->flush();
        if (answer.SplitBytes > 0) QThread::msleep(2);
      }
      if (answer.CloseMidAnswer) {
        socket->disconnectFromHost();
        return;
      }
    }
  }

  Script script_;
  std::map<QTcpSocket*, std::string> received_;
  mutable std::mutex mutex_;
  std::condition_variable ready_;
  bool listening_ = false;
  uint16_t port_ = 0;
  std::vector<std::string> requests_;
};

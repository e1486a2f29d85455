// Serving the reference host over TCP (loopback only) and a local socket, and the thread
// that runs such a server beside an in-process client.
#include <QLocalServer>
#include <QLocalSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <cctype>

#include "refhost/ZrRefHost.h"

ZrRefHostServer::ZrRefHostServer(ZrRefHost& host, QObject* parent) : QObject(parent), host_(host) {}

ZrRefHostServer::~ZrRefHostServer() = default;

bool ZrRefHostServer::Listen(uint16_t port, const std::string& localName) {
  tcp_ = new QTcpServer(this);
  if (!tcp_->listen(QHostAddress::LocalHost, port)) {
    error_ = "Cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
             tcp_->errorString().toStdString();
    return false;
  }
  connect(tcp_, &QTcpServer::newConnection, this, [this] {
    while (QTcpSocket* socket = tcp_->nextPendingConnection()) Attach(socket);
  });
  if (!localName.empty()) {
    local_ = new QLocalServer(this);
    QLocalServer::removeServer(QString::fromStdString(localName));
    if (!local_->listen(QString::fromStdString(localName))) {
      error_ =
          "Cannot listen on local server " + localName + ": " + local_->errorString().toStdString();
      return false;
    }
    connect(local_, &QLocalServer::newConnection, this, [this] {
      while (QLocalSocket* socket = local_->nextPendingConnection()) Attach(socket);
    });
  }
  return true;
}

uint16_t ZrRefHostServer::Port() const {
  return tcp_ != nullptr ? tcp_->serverPort() : 0;
}

void ZrRefHostServer::Attach(QIODevice* device) {
  buffers_[device];
  connect(device, &QIODevice::readyRead, this, [this, device] { Serve(device); });
  auto gone = [this, device] {
    buffers_.erase(device);
    device->deleteLater();
    emit ClientsChanged();
  };
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    connect(tcp, &QTcpSocket::disconnected, this, gone);
  } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
    connect(local, &QLocalSocket::disconnected, this, gone);
  }
  emit ClientsChanged();
}

// A request ends with its closing root tag; the line feed the client sends after it (and any
// other blank) belongs to it, and blanks before a request are dropped.
void ZrRefHostServer::Serve(QIODevice* device) {
  auto it = buffers_.find(device);
  if (it == buffers_.end()) return;
  it->second += device->readAll().toStdString();
  while (true) {
    it = buffers_.find(device);
    if (it == buffers_.end() || !device->isOpen()) return;
    std::string& buffer = it->second;
    size_t start = 0;
    while (start < buffer.size() && std::isspace(static_cast<unsigned char>(buffer[start])))
      ++start;
    buffer.erase(0, start);
    const size_t end = buffer.find("</air>");
    if (end == std::string::npos) return;
    size_t next = end + 6;
    while (next < buffer.size() && (buffer[next] == '\n' || buffer[next] == '\r' ||
                                    buffer[next] == ' ' || buffer[next] == '\t')) {
      ++next;
    }
    // Recorded as received, line feed included.
    const std::string request = buffer.substr(0, next);
    buffer.erase(0, next);
    const ZrRefHostAnswer answer = host_.Handle(request);
    Send(device, answer);
    if (answer.quit) emit QuitRequested();
  }
}

void ZrRefHostServer::Send(QIODevice* device, const ZrRefHostAnswer& answer) {
  const ZrRefHostFaults faults = host_.FaultsFor(answer.function);
  if (faults.delayMs > 0) QThread::msleep(static_cast<unsigned long>(faults.delayMs));
  std::string text = answer.text;
  if (faults.noTrailingChar) {
    while (!text.empty() && text.back() != '>') text.pop_back();
  }
  if (faults.closeMidAnswer) {
    device->write(text.data(), static_cast<qint64>(text.size() / 2));
    device->waitForBytesWritten(1000);
    if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
      tcp->disconnectFromHost();
    } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
      local->disconnectFromServer();
    }
    return;
  }
  const size_t chunk = faults.splitBytes > 0 ? static_cast<size_t>(faults.splitBytes) : text.size();
  for (size_t pos = 0; pos < text.size(); pos += chunk) {
    const size_t n = std::min(chunk, text.size() - pos);
    device->write(text.data() + pos, static_cast<qint64>(n));
    device->waitForBytesWritten(1000);
    // Pieces of a split answer are spaced so that they reach the client in separate reads.
    if (faults.splitBytes > 0) QThread::msleep(2);
  }
}

ZrRefHostThread::ZrRefHostThread(ZrRefHost& host, std::string localName)
    : host_(host), localName_(std::move(localName)) {}

ZrRefHostThread::~ZrRefHostThread() {
  Stop();
}

bool ZrRefHostThread::Start(uint16_t port) {
  requestedPort_ = port;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    started_ = false;
  }
  start();
  std::unique_lock<std::mutex> lock(mutex_);
  ready_.wait(lock, [this] { return started_; });
  return listening_;
}

void ZrRefHostThread::Stop() {
  if (!isRunning()) return;
  quit();
  wait();
}

void ZrRefHostThread::run() {
  bool ok = false;
  {
    ZrRefHostServer server(host_);
    ok = server.Listen(requestedPort_, localName_);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      started_ = true;
      listening_ = ok;
      port_ = server.Port();
    }
    ready_.notify_all();
    if (ok) {
      QObject::connect(&server, &ZrRefHostServer::QuitRequested, &server, [this] { exit(0); });
      exec();
    }
  }
}

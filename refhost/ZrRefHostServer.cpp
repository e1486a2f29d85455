// Serving the reference host over TCP (loopback only) and a local socket, and the thread
// that runs such a server beside an in-process client.
#include <malloc.h>

#include <QDebug>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>

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

namespace {

bool Connected(QIODevice* device) {
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    return tcp->state() == QAbstractSocket::ConnectedState;
  }
  if (auto* local = qobject_cast<QLocalSocket*>(device)) {
    return local->state() == QLocalSocket::ConnectedState;
  }
  return device->isOpen();
}

// Hands queued bytes to the system as far as it takes them now, without waiting.
void Flush(QIODevice* device) {
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    tcp->flush();
  } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
    local->flush();
  }
}

std::string Peer(QIODevice* device) {
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    return tcp->peerAddress().toString().toStdString() + ":" + std::to_string(tcp->peerPort());
  }
  return "local socket";
}

}  // namespace

void ZrRefHostServer::Attach(QIODevice* device) {
  connections_[device].Id = nextClient_++;
  connect(device, &QIODevice::readyRead, this, [this, device] { Serve(device); });
  auto gone = [this, device] { Forget(device); };
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    connect(tcp, &QTcpSocket::disconnected, this, gone);
  } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
    connect(local, &QLocalSocket::disconnected, this, gone);
  }
  emit ClientsChanged();
}

void ZrRefHostServer::Forget(QIODevice* device) {
  auto it = connections_.find(device);
  if (it == connections_.end()) return;
  host_.ClientGone(it->second.Id);
  connections_.erase(it);
  device->disconnect(this);
  device->deleteLater();
  emit ClientsChanged();
}

void ZrRefHostServer::Drop(QIODevice* device, const std::string& why) {
  auto it = connections_.find(device);
  if (it == connections_.end()) return;
  qWarning().noquote() << QString::fromStdString("veldra-refhost: client " +
                                                 std::to_string(it->second.Id) + " (" +
                                                 Peer(device) + ") disconnected: " + why);
  Forget(device);
  if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
    tcp->abort();
  } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
    local->abort();
  }
#ifdef __GLIBC__
  // The connection may have held tens of megabytes; they go back to the system now instead of
  // staying with the process as free heap.
  malloc_trim(0);
#endif
}

// One request is handled per call; when more are waiting, the next call is queued behind the
// other clients' events.
void ZrRefHostServer::Serve(QIODevice* device) {
  auto it = connections_.find(device);
  if (it == connections_.end()) return;
  Connection& c = it->second;
  c.ServeQueued = false;
  const int64_t available = device->bytesAvailable();
  if (available > 0) {
    if (static_cast<int64_t>(c.Requests.Pending()) + available > limits_.MaxRequestBytes) {
      Drop(device, "its request passed " + std::to_string(limits_.MaxRequestBytes) +
                       " bytes without its end \"</air>\"");
      return;
    }
    const QByteArray bytes = device->readAll();
    c.Requests.Append(bytes.constData(), static_cast<size_t>(bytes.size()));
  }
  std::string request;
  if (!Connected(device) || !c.Requests.Next(request)) return;
  const int64_t unread = device->bytesToWrite();
  if (unread > limits_.MaxUnreadBytes) {
    Drop(device, "it left " + std::to_string(unread) + " bytes of answers unread");
    return;
  }
  const ZrRefHostAnswer answer = host_.Handle(request, c.Id);
  Send(device, answer);
  if (answer.Quit) emit QuitRequested();

  it = connections_.find(device);
  if (it == connections_.end() || it->second.ServeQueued || !it->second.Requests.Ready()) return;
  it->second.ServeQueued = true;
  QMetaObject::invokeMethod(
      this,
      [this, guard = QPointer<QIODevice>(device)] {
        if (guard) Serve(guard);
      },
      Qt::QueuedConnection);
}

// Answers are queued on the socket and handed on without waiting; they go out as the client
// reads them.
void ZrRefHostServer::Send(QIODevice* device, const ZrRefHostAnswer& answer) {
  const ZrRefHostFaults faults = host_.FaultsFor(answer.Function);
  if (faults.DelayMs > 0) QThread::msleep(static_cast<unsigned long>(faults.DelayMs));
  std::string text = answer.Text;
  if (faults.NoTrailingChar) {
    while (!text.empty() && text.back() != '>') text.pop_back();
  }
  if (faults.CloseMidAnswer) {
    // Closing waits for the queued half to go out.
    device->write(text.data(), static_cast<qint64>(text.size() / 2));
    if (auto* tcp = qobject_cast<QTcpSocket*>(device)) {
      tcp->disconnectFromHost();
    } else if (auto* local = qobject_cast<QLocalSocket*>(device)) {
      local->disconnectFromServer();
    }
    return;
  }
  const size_t chunk = faults.SplitBytes > 0 ? static_cast<size_t>(faults.SplitBytes) : text.size();
  for (size_t pos = 0; pos < text.size(); pos += chunk) {
    const size_t n = std::min(chunk, text.size() - pos);
    device->write(text.data() + pos, static_cast<qint64>(n));
    // Pieces of a split answer are spaced so that they reach the client in separate reads.
    if (faults.SplitBytes > 0) {
      Flush(device);
      QThread::msleep(2);
    }
  }
  Flush(device);
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

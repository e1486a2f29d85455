// TCP and local client sockets of the host link.
#include "hostlink/ZrCommonClientSocket.h"

#include <QThread>
#include <cstring>

namespace {

constexpr qint64 kReadMax = 65535;

// Writes the text up to its first zero byte; no terminator and no length go with it.
template <class Socket>
bool WriteText(Socket& socket, const std::string& text, int timeoutMs, bool connected) {
  const char* data = text.c_str();
  socket.write(data, static_cast<qint64>(std::strlen(data)));
  // An unconnected socket cannot write; asking it to wait would only make Qt complain.
  if (!connected) return false;
  return socket.waitForBytesWritten(timeoutMs);
}

// One poll: wait a little for data, then take what has arrived. The text ends at the first
// zero byte; the protocol is text, anything after such a byte is dropped.
template <class Socket>
bool ReadText(Socket& socket, std::string& received, int waitMs) {
  socket.waitForReadyRead(waitMs);
  char buffer[kReadMax + 1];
  const qint64 n = socket.read(buffer, kReadMax);
  if (n < 0) {
    received.clear();
    return false;
  }
  buffer[static_cast<size_t>(n)] = '\0';
  received.assign(buffer);
  return n > 0;
}

}  // namespace

ZrCommonClientTcpSocket::ZrCommonClientTcpSocket(std::string hostName, uint16_t port)
    : socket_(std::make_unique<QTcpSocket>()), hostName_(std::move(hostName)), port_(port) {}

ZrCommonClientTcpSocket::~ZrCommonClientTcpSocket() = default;

void ZrCommonClientTcpSocket::Close() {
  socket_->close();
}

bool ZrCommonClientTcpSocket::IsConnected() {
  return socket_->state() == QAbstractSocket::ConnectedState;
}

bool ZrCommonClientTcpSocket::Connect() {
  socket_->connectToHost(QString::fromStdString(hostName_), port_, QIODevice::ReadWrite,
                         QAbstractSocket::AnyIPProtocol);
  return socket_->waitForConnected(ConnectTimeoutMs);
}

bool ZrCommonClientTcpSocket::Read() {
  return ReadText(*socket_, ReceivedText, ReadWaitMs);
}

bool ZrCommonClientTcpSocket::Write(const std::string& text) {
  return WriteText(*socket_, text, WriteTimeoutMs, IsConnected());
}

void ZrCommonClientTcpSocket::MoveToThread(QThread* thread) {
  socket_->moveToThread(thread);
}

ZrCommonClientLocalSocket::ZrCommonClientLocalSocket(std::string serverName)
    : socket_(std::make_unique<QLocalSocket>()), serverName_(std::move(serverName)) {}

ZrCommonClientLocalSocket::~ZrCommonClientLocalSocket() = default;

void ZrCommonClientLocalSocket::Close() {
  socket_->close();
}

bool ZrCommonClientLocalSocket::IsConnected() {
  return socket_->state() == QLocalSocket::ConnectedState;
}

bool ZrCommonClientLocalSocket::Connect() {
  socket_->connectToServer(QString::fromStdString(serverName_), QIODevice::ReadWrite);
  return socket_->waitForConnected(ConnectTimeoutMs);
}

bool ZrCommonClientLocalSocket::Read() {
  return ReadText(*socket_, ReceivedText, ReadWaitMs);
}

bool ZrCommonClientLocalSocket::Write(const std::string& text) {
  return WriteText(*socket_, text, WriteTimeoutMs, IsConnected());
}

void ZrCommonClientLocalSocket::MoveToThread(QThread* thread) {
  socket_->moveToThread(thread);
}

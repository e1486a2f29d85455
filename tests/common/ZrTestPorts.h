// A loopback TCP port where nothing listens, for tests of a client that finds no host.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <cstdint>

// The port a listener was just given and then closed: free until something else takes it.
inline uint16_t ZrFreeLocalPort() {
  QTcpServer probe;
  if (!probe.listen(QHostAddress::LocalHost, 0)) return 0;
  const uint16_t port = probe.serverPort();
  probe.close();
  return port;
}

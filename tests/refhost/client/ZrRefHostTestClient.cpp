// A plug-in process for the tests that run several clients against veldra-refhost at once.
//
//   zr_refhost_test_client fetch PORT COUNT
//     makes a 64 x 64 window of its own whose pixel i holds window * 4096 + i, prints "ready",
//     waits for a line on standard input, fetches the window COUNT times through shared memory
//     and prints "fetches N mismatches M errors E".
//   zr_refhost_test_client flood PORT WINDOW COUNT
//     sends COUNT "ImageGet" requests for WINDOW at once, prints "sent" and never reads.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdio>
#include <iostream>
#include <string>

#include "hostlink/ZrPluginFuncVeldra.h"

namespace {

constexpr int32_t kSide = 64;

float Expected(int32_t window, int64_t i) {
  return static_cast<float>(window * kSide * kSide + i);
}

int Fetch(int32_t port, int64_t count) {
  ZrPluginFuncVeldra client("localhost", port);
  client.SetPollCount(1000);
  client.SubConnect();
  const int32_t window = client.ImageNewWindow();
  ZrFloatMatrix image(kSide, kSide);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = Expected(window, i);
  client.ImageSet(window, image);
  std::cout << "ready" << std::endl;
  std::string go;
  std::getline(std::cin, go);
  int64_t mismatches = 0, errors = 0;
  for (int64_t n = 0; n < count; ++n) {
    ZrFloatMatrix got;
    try {
      client.ImageGetBySharedMemory(window, got);
    } catch (const ZrError& e) {
      if (errors++ == 0) std::cerr << "fetch " << n << ": " << e.Message << "\n";
      continue;
    }
    bool same = got.ColSize == kSide && got.RowSize == kSide;
    for (int64_t i = 0; same && i < got.Count(); ++i) same = got.Data[i] == Expected(window, i);
    if (!same) ++mismatches;
  }
  std::cout << "fetches " << count << " mismatches " << mismatches << " errors " << errors
            << std::endl;
  return 0;
}

int Flood(int32_t port, int32_t window, int32_t count) {
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  request.SetFunc(ZrHostFunction::ImageGet);
  request.IDDocChildWindow(window);
  request.CloseCmd();
  std::string one, all;
  request.GetText(one);
  for (int32_t n = 0; n < count; ++n) all += one;

  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    std::cerr << "cannot connect\n";
    return 1;
  }
  for (size_t sent = 0; sent < all.size();) {
    const ssize_t n = send(fd, all.data() + sent, all.size() - sent, 0);
    if (n <= 0) return 1;
    sent += static_cast<size_t>(n);
  }
  std::cout << "sent" << std::endl;
  sleep(600);  // never reads; the test ends this process
  close(fd);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  const std::string mode = argc > 1 ? argv[1] : "";
  try {
    if (mode == "fetch" && argc == 4) return Fetch(std::stoi(argv[2]), std::stoll(argv[3]));
    if (mode == "flood" && argc == 5) {
      return Flood(std::stoi(argv[2]), std::stoi(argv[3]), std::stoi(argv[4]));
    }
  } catch (const ZrError& e) {
    std::cerr << e.Message << "\n";
    return 1;
  }
  std::cerr << "usage: zr_refhost_test_client fetch PORT COUNT | flood PORT WINDOW COUNT\n";
  return 2;
}

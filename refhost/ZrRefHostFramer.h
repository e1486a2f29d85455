// Cutting the bytes received from one client into request texts, apart from any socket.
#pragma once

#include <cstddef>
#include <string>

// A request ends with its closing root tag "</air>"; the line feed the client sends after it
// (and any other blank already received) belongs to it, and blanks before a request are
// dropped. The search resumes where it stopped, so a request that arrives in many pieces is
// scanned once.
class ZrRefHostFramer {
 public:
  void Append(const char* data, size_t size);
  // True when a complete request is waiting.
  bool Ready();
  // Takes the next complete request as received; false when none is complete yet.
  bool Next(std::string& request);
  // Bytes received and not yet taken as a request.
  size_t Pending() const { return buffer_.size() - begin_; }

 private:
  size_t FindEnd();

  std::string buffer_;
  size_t begin_ = 0;     // bytes before it are taken
  size_t searched_ = 0;  // "</air>" does not start between begin_ and here
};

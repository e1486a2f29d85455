// The one exception type of the system: a message text, thrown by value.
#pragma once

#include <string>
#include <utility>

// Deliberately not derived from std::exception: handlers catch it by its own
// type, and anything else that escapes is reported as an undefined error.
class ZrError {
 public:
  ZrError() = default;
  explicit ZrError(std::string message) : Message(std::move(message)) {}
  explicit ZrError(const char* message) : Message(message) {}

  const std::string& Text() const { return Message; }

  // Host-link operations append "/" + their signature, building a call trail.
  void AppendTrail(const std::string& signature) { Message += "/" + signature; }

  std::string Message;
};

[[noreturn]] inline void ZrFail(const std::string& message) {
  throw ZrError(message);
}

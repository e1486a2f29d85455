#include "refhost/ZrRefHostFramer.h"

#include <algorithm>
#include <cctype>

namespace {

const std::string kEnd = "</air>";

bool IsBlank(char c) {
  return c == '\n' || c == '\r' || c == ' ' || c == '\t';
}

}  // namespace

void ZrRefHostFramer::Append(const char* data, size_t size) {
  // Taken bytes are dropped once they are half of the buffer, so a long run of small
  // requests costs no more than one copy of each byte.
  if (begin_ > 0 && begin_ >= buffer_.size() / 2) {
    buffer_.erase(0, begin_);
    searched_ -= begin_;
    begin_ = 0;
  }
  buffer_.append(data, size);
}

size_t ZrRefHostFramer::FindEnd() {
  while (begin_ < buffer_.size() && std::isspace(static_cast<unsigned char>(buffer_[begin_]))) {
    ++begin_;
  }
  searched_ = std::max(searched_, begin_);
  const size_t end = buffer_.find(kEnd, searched_);
  if (end == std::string::npos) {
    const size_t tail = buffer_.size() < kEnd.size() ? 0 : buffer_.size() - (kEnd.size() - 1);
    searched_ = std::max(begin_, tail);
  }
  return end;
}

bool ZrRefHostFramer::Ready() {
  return FindEnd() != std::string::npos;
}

bool ZrRefHostFramer::Next(std::string& request) {
  const size_t end = FindEnd();
  if (end == std::string::npos) return false;
  size_t next = end + kEnd.size();
  while (next < buffer_.size() && IsBlank(buffer_[next])) ++next;
  request.assign(buffer_, begin_, next - begin_);
  begin_ = searched_ = next;
  return true;
}

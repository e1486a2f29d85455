// The end test of an answer.
#include "hostlink/ZrAnswerEnd.h"

bool ZrAnswerComplete(const std::string& text) {
  const size_t n = text.size();
  return n > 6 && text.compare(n - 7, 6, "</air>") == 0;
}

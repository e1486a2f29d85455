// Where an answer of the host ends. The socket hands over whatever bytes have arrived; the
// exchange joins them and asks this test after every read.
#pragma once

#include <string>

// True when the text gathered so far is a complete answer: the closing root tag "</air>"
// stands one character before its end. The host sends one character (a line feed) after the
// tag and the test skips exactly that one, so a text that ends in "</air>" itself is not
// complete.
bool ZrAnswerComplete(const std::string& text);

// Debug lines of the numerical code -- the degree-by-degree fit's "OpenMP <degree>", the
// background fit's normal-matrix dumps -- go to one sink that a program sets at start-up
// (Qt's debug output: ZrDebugToQt, formats/ZrQtDebug.h). Without a sink they are dropped and
// cost nothing, so the numerics need no output library of their own.
#pragma once

#include <cstdint>
#include <string>

using ZrDebugSink = void (*)(const std::string& line);

// For the whole process; nullptr drops the lines. Set it before any thread runs a fit.
void ZrSetDebugSink(ZrDebugSink sink);
bool ZrDebugEnabled();

// One line, sent to the sink when the object goes: the pieces joined by blanks, numbers as
// Qt's debug stream prints them (6 significant digits, "nan" without a sign, 0 for -0), so
// the lines read as they did when the code wrote them to qDebug() itself.
class ZrDebug {
 public:
  ZrDebug();
  ~ZrDebug();
  ZrDebug(const ZrDebug&) = delete;
  ZrDebug& operator=(const ZrDebug&) = delete;

  ZrDebug& operator<<(const char* text);
  ZrDebug& operator<<(int32_t value);
  ZrDebug& operator<<(double value);

 private:
  void Piece(const std::string& text);
  ZrDebugSink sink_;
  std::string line_;
};

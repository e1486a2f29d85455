// Reads the port that a started veldra-refhost process announces on its first output line.
#pragma once

#include <QProcess>
#include <cstdint>
#include <string>

// The port of "veldra-refhost listening on 127.0.0.1:<port>", or -1 (with the line read in
// `line`) when the program says something else or nothing within waitMs.
inline int32_t ZrReadRefHostPort(QProcess& program, int waitMs, std::string& line) {
  line.clear();
  if (!program.waitForReadyRead(waitMs)) return -1;
  line = program.readLine().toStdString();
  const std::string prefix = "veldra-refhost listening on 127.0.0.1:";
  if (line.rfind(prefix, 0) != 0) return -1;
  return std::stoi(line.substr(prefix.size()));
}

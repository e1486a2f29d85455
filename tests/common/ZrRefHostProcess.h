// Starts a veldra-refhost process and reads the port it announces on its first output line.
#pragma once

#include <QProcess>
#include <QStringList>
#include <cstdint>
#include <string>

// Starts exe with args on program and returns the port of its "veldra-refhost listening on
// 127.0.0.1:<port>" line, or -1 (with the line read, or why none was, in `line`) when it does
// not start or says something else or nothing within waitMs.
inline int32_t ZrStartRefHost(QProcess& program, const QString& exe, const QStringList& args,
                              int waitMs, std::string& line) {
  line.clear();
  program.start(exe, args);
  if (!program.waitForStarted(5000)) {
    line = "not started: " + program.errorString().toStdString();
    return -1;
  }
  if (!program.waitForReadyRead(waitMs)) return -1;
  line = program.readLine().toStdString();
  const std::string prefix = "veldra-refhost listening on 127.0.0.1:";
  if (line.rfind(prefix, 0) != 0) return -1;
  return std::stoi(line.substr(prefix.size()));
}

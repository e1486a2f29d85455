// The numerical code's debug lines as qDebug() lines.
#include "formats/ZrQtDebug.h"

#include <QDebug>
#include <QString>

#include "numerics/ZrDebugOutput.h"

void ZrDebugToQt() {
  ZrSetDebugSink(
      [](const std::string& line) { qDebug().noquote() << QString::fromStdString(line); });
}

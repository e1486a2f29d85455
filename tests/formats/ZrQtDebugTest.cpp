// The numerical code's debug lines reach Qt's debug output as the qDebug() lines they replace.
#include "formats/ZrQtDebug.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <QtDebug>
#include <cmath>
#include <limits>

#include "numerics/ZrDebugOutput.h"

namespace {

QStringList* gLines = nullptr;

void Collect(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtDebugMsg && gLines != nullptr) gLines->append(text);
}

}  // namespace

// Qt itself is the oracle: each value through ZrDebug and straight through qDebug().
TEST(ZrQtDebug, LinesAreTheOnesQDebugWrites) {
  const double inf = std::numeric_limits<double>::infinity();
  const double values[] = {0.1,     -0.0,    0.0,    std::nan(""), -std::nan(""), inf,    -inf,
                           1234567, 123456., 1e-300, -2.5e-7,      5e-324,        1.5e300};
  QStringList lines;
  gLines = &lines;
  const QtMessageHandler previous = qInstallMessageHandler(Collect);
  ZrDebug() << "dropped" << 1;  // no sink yet
  ZrDebugToQt();
  for (const double v : values) {
    ZrDebug() << "iM" << -2147483647 - 1 << 3 << v;
    qDebug() << "iM" << -2147483647 - 1 << 3 << v;
  }
  ZrSetDebugSink(nullptr);
  qInstallMessageHandler(previous);
  gLines = nullptr;
  ASSERT_EQ(lines.size(), 2 * static_cast<int>(std::size(values)));
  for (int k = 0; k < lines.size(); k += 2) {
    EXPECT_EQ(lines[k].toStdString(), lines[k + 1].toStdString());
  }
}

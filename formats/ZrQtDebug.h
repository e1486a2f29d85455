// Points the numerical code's debug lines (numerics/ZrDebugOutput.h) at Qt's debug output, where
// the programs' message handlers see them as qDebug() lines.
#pragma once

void ZrDebugToQt();

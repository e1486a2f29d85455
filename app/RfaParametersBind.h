// Binding of the parameter set to the operation panel of the main window's generated form.
#pragma once

#include <functional>

#include "rfa/RfaParameters.h"

class QObject;
class QWidget;

// Mask spin boxes hold integers while their fields are doubles: reading a widget widens the
// integer, filling one rounds the double to the nearest integer (ties to even). A fractional
// value loaded from a file therefore survives until the panel is next read.
// Values beyond the int range (or NaN) are clamped first; the spin box clamps to its own range.
int RfaRoundToSpinBox(double value);

// Every field of the table that names a panel widget, between the field and the widget of that
// object name under panel. A widget that is missing or of another kind than its row says is a
// ZrError naming it.
void RfaBindPanel(RfaParameters& params, bool toParameters, QWidget* panel);

// Calls changed whenever a panel widget of the table changes its value (a check box toggles),
// for as long as receiver lives.
void RfaConnectPanel(QWidget* panel, QObject* receiver, const std::function<void()>& changed);

template <class Ui>
void RfaParameters::Bind(bool toParameters, Ui* ui) {
  MappingIsAzM2 = true;
  RfaBindPanel(*this, toParameters, ui->centralWidget);
}

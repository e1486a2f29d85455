// Binding of the parameter set to the operation panel.
#include "app/RfaParametersBind.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QSpinBox>
#include <cmath>
#include <limits>
#include <type_traits>

#include "numerics/ZrError.h"
#include "rfa/RfaParameterFields.h"

int RfaRoundToSpinBox(double value) {
  if (std::isnan(value)) return 0;
  const double rounded = std::nearbyint(value);
  if (rounded <= static_cast<double>(std::numeric_limits<int>::min())) {
    return std::numeric_limits<int>::min();
  }
  if (rounded >= static_cast<double>(std::numeric_limits<int>::max())) {
    return std::numeric_limits<int>::max();
  }
  return static_cast<int>(rounded);
}

namespace {

template <class Widget>
Widget* PanelWidget(QWidget* panel, const RfaParameterField& field) {
  auto* widget = panel->findChild<Widget*>(field.Widget);
  if (widget == nullptr) {
    throw ZrError(std::string("panel: no widget ") + field.Widget + " of its kind for " +
                  field.Key);
  }
  return widget;
}

template <class T>
void BindField(T& value, bool toParameters, QWidget* panel, const RfaParameterField& field) {
  switch (field.WidgetKind) {
    case RfaWidgetKind::None:
      return;
    case RfaWidgetKind::CheckBox:
      if constexpr (std::is_same_v<T, bool>) {
        auto* box = PanelWidget<QCheckBox>(panel, field);
        if (toParameters) {
          value = box->isChecked();
        } else {
          box->setChecked(value);
        }
        return;
      }
      break;
    case RfaWidgetKind::SpinBox:
      if constexpr (std::is_same_v<T, int32_t> || std::is_same_v<T, double>) {
        auto* box = PanelWidget<QSpinBox>(panel, field);
        if (toParameters) {
          value = box->value();
        } else if constexpr (std::is_same_v<T, double>) {
          box->setValue(RfaRoundToSpinBox(value));
        } else {
          box->setValue(value);
        }
        return;
      }
      break;
    case RfaWidgetKind::DoubleSpinBox:
      if constexpr (std::is_floating_point_v<T>) {
        auto* box = PanelWidget<QDoubleSpinBox>(panel, field);
        if (toParameters) {
          value = box->value();
        } else {
          box->setValue(static_cast<double>(value));
        }
        return;
      }
      break;
  }
  throw ZrError(std::string("panel: the widget kind of ") + field.Key + " does not fit its type");
}

}  // namespace

void RfaBindPanel(RfaParameters& params, bool toParameters, QWidget* panel) {
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit([&](auto member) { BindField(params.*member, toParameters, panel, field); },
               field.Member);
  }
}

void RfaConnectPanel(QWidget* panel, QObject* receiver, const std::function<void()>& changed) {
  for (const RfaParameterField& field : RfaParameterFields()) {
    switch (field.WidgetKind) {
      case RfaWidgetKind::None:
        break;
      case RfaWidgetKind::CheckBox:
        QObject::connect(PanelWidget<QCheckBox>(panel, field), &QCheckBox::toggled, receiver,
                         changed);
        break;
      case RfaWidgetKind::SpinBox:
        QObject::connect(PanelWidget<QSpinBox>(panel, field),
                         qOverload<int>(&QSpinBox::valueChanged), receiver, changed);
        break;
      case RfaWidgetKind::DoubleSpinBox:
        QObject::connect(PanelWidget<QDoubleSpinBox>(panel, field),
                         qOverload<double>(&QDoubleSpinBox::valueChanged), receiver, changed);
        break;
    }
  }
}

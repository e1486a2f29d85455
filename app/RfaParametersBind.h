// Binding of the parameter set to the operation panel of the main window's generated form.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "rfa/RfaParameters.h"

// Mask spin boxes hold integers while their fields are doubles: reading a widget widens the
// integer, filling one rounds the double to the nearest integer (ties to even). A fractional
// value loaded from a file therefore survives until the panel is next read.
// Values beyond the int range (or NaN) are clamped first; the spin box clamps to its own range.
inline int RfaRoundToSpinBox(double value) {
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

template <class Ui>
void RfaParameters::Bind(bool toParameters, Ui* ui) {
  MappingIsAzM2 = true;
  if (toParameters) {
    Sx = ui->dspSx->value();
    Sy = ui->dspSy->value();
    Sr = ui->dspSr->value();
    SMargin = ui->spMargin->value();
    MappingAzThetaMax_deg = ui->dspMaxAngle->value();
    AdjThres = ui->dsbThres->value();
    AdjSize = ui->sbAdjSize->value();
    Size_l = ui->spSizel->value();
    Ax = ui->dsbAx->value();
    Ay = ui->dsbAy->value();
    IsShowTmp = ui->cbShowTmp->isChecked();
    McpDipCx = ui->dsbDipCx->value();
    McpDipCy = ui->dsbDipCy->value();
    McpDipR = ui->dsbDipR->value();
    MaskCx = ui->sbMaskCx->value();
    MaskCy = ui->sbMaskCy->value();
    MaskRx = ui->sbMaskRx->value();
    MaskRy = ui->sbMaskRy->value();
    IsMoveCenter = ui->cbMoveCenter->isChecked();
    IsBgSh = ui->cbBgSh->isChecked();
    IsBgAz = ui->cbBgAz->isChecked();
    IsMaskMcpDip = ui->cbMaskMcpDip->isChecked();
    IsMaskOutside = ui->cbMaskOutside->isChecked();
  } else {
    ui->dspSx->setValue(Sx);
    ui->dspSy->setValue(Sy);
    ui->dspSr->setValue(Sr);
    ui->spMargin->setValue(SMargin);
    ui->dspMaxAngle->setValue(static_cast<double>(MappingAzThetaMax_deg));
    ui->dsbThres->setValue(static_cast<double>(AdjThres));
    ui->sbAdjSize->setValue(AdjSize);
    ui->spSizel->setValue(Size_l);
    ui->dsbAx->setValue(Ax);
    ui->dsbAy->setValue(Ay);
    ui->cbShowTmp->setChecked(IsShowTmp);
    ui->dsbDipCx->setValue(McpDipCx);
    ui->dsbDipCy->setValue(McpDipCy);
    ui->dsbDipR->setValue(McpDipR);
    ui->sbMaskCx->setValue(RfaRoundToSpinBox(MaskCx));
    ui->sbMaskCy->setValue(RfaRoundToSpinBox(MaskCy));
    ui->sbMaskRx->setValue(RfaRoundToSpinBox(MaskRx));
    ui->sbMaskRy->setValue(RfaRoundToSpinBox(MaskRy));
    ui->cbMoveCenter->setChecked(IsMoveCenter);
    ui->cbBgSh->setChecked(IsBgSh);
    ui->cbBgAz->setChecked(IsBgAz);
    ui->cbMaskMcpDip->setChecked(IsMaskMcpDip);
    ui->cbMaskOutside->setChecked(IsMaskOutside);
  }
}

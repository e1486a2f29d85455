// Line charts as PNG pictures for people (profiles, comparisons), drawn with QPainter on a
// QImage. Labels use a built-in 5 x 7 pixel font, so no font database (and no
// QGuiApplication) is needed: command-line programs draw them too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ZrPlotSeries {
  std::string Label;
  std::vector<double> X, Y;  // a NaN in either breaks the line
  uint32_t Rgb = 0x000000;   // 0xRRGGBB
  bool Dashed = false;
};

// One panel: its series share the axes, which span their finite points (y with a margin).
struct ZrPlotPanel {
  std::string Title;  // above the panel, left
  std::string XLabel;
  std::vector<ZrPlotSeries> Series;
  bool LogY = false;          // only the positive values are drawn
  std::vector<double> MarkX;  // vertical grey lines, e.g. the edge of the fitted disc
};

// The panels stacked from top to bottom in a picture width pixels wide, each panelHeight
// pixels high, as the bytes of a PNG file. Text is drawn in lower case; characters the font
// lacks are left blank. ZrError for a picture without panels or sizes below 200 x 120.
std::string ZrPlotPng(const std::vector<ZrPlotPanel>& panels, int32_t width = 900,
                      int32_t panelHeight = 360);

// The width in pixels of text at the given glyph scale (6 x scale per character).
int32_t ZrPlotTextWidth(const std::string& text, int32_t scale);

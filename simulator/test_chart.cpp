#include "simulator/test_chart.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "simulator/dot_font.h"

namespace scantk::sim {
namespace {

// All places are in units of 1/300 inch from the top left corner of the sheet.
constexpr double kChartHeight = 3508;
constexpr double kLeft = 90;
constexpr double kRight = 2370;
constexpr double kPi = 3.14159265358979323846;

struct Rgb {
  uint8_t r = 0, g = 0, b = 0;
};

constexpr Rgb kInk{20, 20, 24};

uint8_t ToByte(double unit) {
  return static_cast<uint8_t>(std::lround(std::clamp(unit, 0.0, 1.0) * 255.0));
}

// hue in turns, lightness 0 to 1, fully saturated.
Rgb FromHue(double hue, double lightness) {
  const double chroma = 1.0 - std::fabs(2.0 * lightness - 1.0);
  auto channel = [&](double shift) {
    const double t = std::fmod(hue + shift, 1.0) * 6.0;
    const double ramp = std::clamp(std::fabs(t - 3.0) - 1.0, 0.0, 1.0);
    return ToByte(lightness + (ramp - 0.5) * chroma);
  };
  return {channel(0.0), channel(2.0 / 3.0), channel(1.0 / 3.0)};
}

Rgb Mix(Rgb a, Rgb b, double t) {
  auto blend = [t](uint8_t x, uint8_t y) { return ToByte((x + (y - x) * t) / 255.0); };
  return {blend(a.r, b.r), blend(a.g, b.g), blend(a.b, b.b)};
}

// One sensor row on its way across the chart.
class RowBrush {
 public:
  RowBrush(const Stretch& stretch, uint8_t* rgb)
      : stretch_(stretch),
        rgb_(rgb),
        v_(std::fmod((static_cast<double>(stretch.y) + 0.5) * kUnitsPerInch / stretch.y_dpi,
                     kChartHeight)) {}

  double v() const { return v_; }
  int64_t row() const { return stretch_.y; }
  bool Within(double top, double bottom) const { return v_ >= top && v_ < bottom; }

  // Pixels whose centres lie in [from, to).
  void Fill(double from, double to, Rgb color) {
    Each(from, to, [color](double, int64_t) { return color; });
  }

  // color(u, column) for each pixel whose centre u lies in [from, to).
  template <typename Color>
  void Each(double from, double to, Color color) {
    const int64_t first = std::max<int64_t>(Column(from), stretch_.x);
    const int64_t last = std::min<int64_t>(Column(to), stretch_.x + stretch_.count);
    for (int64_t x = first; x < last; ++x) {
      const double u = (static_cast<double>(x) + 0.5) * kUnitsPerInch / stretch_.x_dpi;
      const Rgb c = color(u, x);
      uint8_t* pixel = rgb_ + 3 * (x - stretch_.x);
      pixel[0] = c.r;
      pixel[1] = c.g;
      pixel[2] = c.b;
    }
  }

  // Text with its top left corner at (left, top), each dot `dot` units wide and high.
  void Text(double left, double top, double dot, const std::string& text, Rgb color = kInk) {
    if (!Within(top, top + dot * kGlyphRows)) return;
    const int line = static_cast<int>((v_ - top) / dot);
    for (char c : text) {
      for (int column = 0; column < kGlyphColumns; ++column) {
        if (!GlyphDot(c, column, line)) continue;
        const double u = left + column * dot;
        if (u < kRight) Fill(u, u + dot, color);
      }
      left += kGlyphPitch * dot;
    }
  }

 private:
  // The first column whose centre is at u or right of it.
  int64_t Column(double u) const {
    return static_cast<int64_t>(std::ceil(u * stretch_.x_dpi / kUnitsPerInch - 0.5));
  }

  Stretch stretch_;
  uint8_t* rgb_;
  double v_;
};

// Length of the ruler's tick that covers position `p`, 0 between ticks.
double TickLength(double p) {
  if (std::fmod(p, 30.0) >= 2.0) return 0;
  const int tenth = static_cast<int>(p / 30.0);
  return tenth % 10 == 0 ? 48 : tenth % 5 == 0 ? 30 : 18;
}

void PaintColumnRuler(RowBrush& brush) {
  brush.Each(0, kRight, [&](double u, int64_t) {
    return brush.v() < TickLength(u) ? kInk : Rgb{255, 255, 255};
  });
  for (int inch = 1; inch <= 7; ++inch)
    brush.Text(inch * kUnitsPerInch + 8, 26, 3, std::to_string(inch));
}

void PaintRowRuler(RowBrush& brush) {
  brush.Fill(0, TickLength(brush.v()), kInk);
  for (int inch = 1; inch <= 11; ++inch)
    brush.Text(26, inch * kUnitsPerInch + 8, 3, std::to_string(inch));
}

// The number of the sensor row, so that a lost or doubled row shows: 16 bits in Gray code.
void PaintRowNumber(RowBrush& brush) {
  const int64_t gray = brush.row() ^ (brush.row() >> 1);
  for (int bit = 0; bit < 16; ++bit) {
    const bool set = (gray >> (15 - bit) & 1) != 0;
    brush.Fill(2400 + bit * 4, 2404 + bit * 4, set ? kInk : Rgb{225, 225, 225});
  }
}

void PaintTitle(RowBrush& brush, const PageSide& side) {
  brush.Text(kLeft, 110, 15, "SCANTK TEST CHART");
  std::string where = "GLASS";
  if (side.sheet > 0) {
    where = "SHEET " + std::to_string(side.sheet) + (side.back ? " BACK" : " FRONT");
  }
  brush.Text(1740, 166, 7, where, side.back ? Rgb{170, 40, 30} : Rgb{30, 70, 160});
}

void PaintBars(RowBrush& brush) {
  constexpr Rgb kBars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                            {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  const double width = (kRight - kLeft) / 8;
  for (int i = 0; i < 8; ++i) {
    brush.Fill(kLeft + i * width, kLeft + (i + 1) * width, kBars[i]);
  }
}

void PaintRamps(RowBrush& brush) {
  const bool steps = brush.v() >= 720;
  brush.Each(kLeft, kRight, [&](double u, int64_t) {
    const double t = (u - kLeft) / (kRight - kLeft);
    const uint8_t g = ToByte(steps ? std::floor(t * 17) / 16 : t);
    return Rgb{g, g, g};
  });
}

void PaintFigures(RowBrush& brush) {
  const double down = (brush.v() - 870) / 420;
  brush.Each(kLeft, 1470, [&](double u, int64_t) {
    return FromHue((u - kLeft) / (1470 - kLeft), 0.95 - 0.9 * down);
  });
  const double y = brush.v() - 1080;
  brush.Each(1500, 1920, [&](double u, int64_t) {  // rings of rising frequency
    const double x = u - 1710;
    const uint8_t g = ToByte(0.5 + 0.5 * std::cos((x * x + y * y) * kPi / 840));
    return Rgb{g, g, g};
  });
  brush.Each(1950, kRight, [&](double u, int64_t) {  // a star of 36 rays
    const double x = u - 2160;
    if (x * x + y * y > 210.0 * 210.0) return Rgb{255, 255, 255};
    return std::sin(std::atan2(y, x) * 36) > 0 ? kInk : Rgb{255, 255, 255};
  });
}

void PaintText(RowBrush& brush) {
  double top = 1330;
  for (double dot : {7.0, 5.0, 4.0, 3.0, 2.0, 1.0}) {
    brush.Text(kLeft, top, dot,
               "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG 0123456789 (+-*/=<>?!)");
    top += dot * 10 + 8;
  }
}

// Eight boxes of lines and checks measured in sensor pixels, not in inches.
void PaintPixelLines(RowBrush& brush) {
  constexpr Rgb kWhite{255, 255, 255};
  const double width = (kRight - kLeft) / 8;
  const int64_t y = brush.row();
  for (int box = 0; box < 8; ++box) {
    const double from = kLeft + box * width;
    brush.Each(from, from + width - 24, [&](double, int64_t x) {
      bool ink = false;
      if (box < 3)
        ink = x % (1 << (box + 1)) == 0;  // upright
      else if (box < 6)
        ink = y % (1 << (box - 2)) == 0;  // lying
      else if (box == 6)
        ink = (x + y) % 2 == 0;  // checks
      else
        ink = (x - y) % 16 == 0 || (x + y) % 16 == 0;  // slanting
      return ink ? kInk : kWhite;
    });
  }
}

void PaintColorRamps(RowBrush& brush) {
  const int band = static_cast<int>((brush.v() - 2080) / 100);
  brush.Each(kLeft, kRight, [&](double u, int64_t) {
    const uint8_t level = ToByte((u - kLeft) / (kRight - kLeft));
    Rgb color;
    (band == 0 ? color.r : band == 1 ? color.g : color.b) = level;
    return color;
  });
}

// Smooth, photograph-like content: sky, sun, three ranges of hills, water.
Rgb LandscapeColor(double x, double y) {  // 0..1 across, 0..1 down
  constexpr double kAspect = 4;
  Rgb color = Mix({60, 110, 190}, {250, 205, 160}, std::min(1.0, y / 0.6));
  const double sun = std::hypot((x - 0.72) * kAspect, y - 0.34);
  color = Mix({255, 244, 205}, color, std::clamp(sun / 0.09 - 0.5, 0.35 + sun * 0.6, 1.0));
  constexpr Rgb kHills[3] = {{128, 134, 172}, {84, 112, 128}, {40, 74, 62}};
  for (int i = 0; i < 3; ++i) {
    const double f = 5.0 + 4.0 * i;
    const double ridge = 0.46 + 0.09 * i + 0.06 * std::sin(x * f + i) +
                         0.025 * std::sin(x * f * 2.7 + 2 * i) + 0.008 * std::sin(x * f * 9.1);
    if (y > ridge)
      color = Mix(kHills[i], {225, 215, 215}, std::clamp((ridge - y) * 2 + 0.1, 0.0, 0.3));
  }
  if (y > 0.8) {
    const double ripple = 0.5 + 0.5 * std::sin(y * 420 + 6 * std::sin(x * 37 + y * 11));
    color = Mix({70, 110, 150}, {214, 196, 186}, ripple * (1.1 - y) * 1.6);
  }
  return color;
}

void PaintLandscape(RowBrush& brush) {
  const double y = (brush.v() - 2420) / 570;
  brush.Each(kLeft, kRight,
             [&](double u, int64_t) { return LandscapeColor((u - kLeft) / (kRight - kLeft), y); });
}

void PaintSwatches(RowBrush& brush) {
  const int line = static_cast<int>((brush.v() - 3030) / 100);
  if (brush.v() - 3030 - line * 100 >= 88) return;
  const double width = (kRight - kLeft) / 12;
  for (int i = 0; i < 12; ++i) {
    const double from = kLeft + i * width;
    brush.Fill(from, from + width - 12, FromHue(i / 12.0, 0.75 - 0.25 * line));
  }
}

class TestChart : public Paper {
 public:
  void Paint(const Stretch& stretch, const PageSide& side, uint8_t* rgb) const override {
    std::memset(rgb, 255, static_cast<size_t>(stretch.count) * 3);
    RowBrush brush(stretch, rgb);
    if (side.back) brush.Fill(0, 1e9, {255, 248, 226});
    if (brush.Within(0, 60)) PaintColumnRuler(brush);
    PaintRowRuler(brush);
    PaintRowNumber(brush);
    if (brush.Within(100, 240)) PaintTitle(brush, side);
    if (brush.Within(270, 570)) PaintBars(brush);
    if (brush.Within(600, 840)) PaintRamps(brush);
    if (brush.Within(870, 1290)) PaintFigures(brush);
    if (brush.Within(1330, 1700)) PaintText(brush);
    if (brush.Within(1740, 2040)) PaintPixelLines(brush);
    if (brush.Within(2080, 2380)) PaintColorRamps(brush);
    if (brush.Within(2420, 2990)) PaintLandscape(brush);
    if (brush.Within(3030, 3320)) PaintSwatches(brush);
    brush.Text(kLeft, 3370, 4,
               "LINES AND CHECKS ABOVE ARE SENSOR PIXELS; TICKS ARE TENTHS OF AN INCH");
  }
};

}  // namespace

std::shared_ptr<const Paper> MakeTestChart() {
  return std::make_shared<TestChart>();
}

}  // namespace scantk::sim

// A font of 5 x 7 dots for the digits, capitals and punctuation of the test chart.
#ifndef SCANTK_SIMULATOR_DOT_FONT_H_
#define SCANTK_SIMULATOR_DOT_FONT_H_

namespace scantk::sim {

inline constexpr int kGlyphColumns = 5;
inline constexpr int kGlyphRows = 7;
// Columns from one glyph to the next.
inline constexpr int kGlyphPitch = 6;

// Whether the glyph of `c` has ink at this column (0 to 4) and row (0 to 6, from the top). Small
// letters have the ink of capitals; other characters have none.
bool GlyphDot(char c, int column, int row);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DOT_FONT_H_

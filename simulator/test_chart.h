// The built-in test chart: drawn from formulas at whatever resolution it is scanned.
#ifndef SCANTK_SIMULATOR_TEST_CHART_H_
#define SCANTK_SIMULATOR_TEST_CHART_H_

#include <memory>

#include "simulator/paper.h"

namespace scantk::sim {

// Rulers, colour bars, ramps, a hue field, resolution figures, text of falling size, lines one
// sensor pixel wide and a small landscape. The back of a sheet is on tinted paper and says so. The
// right margin carries every sensor row's number in Gray code, so that no two rows are alike.
// Below its foot the chart begins again.
std::shared_ptr<const Paper> MakeTestChart();

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_TEST_CHART_H_

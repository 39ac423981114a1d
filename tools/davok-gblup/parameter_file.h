// The variances of a parameter file, read by Davok's own reader.
#pragma once

#include <string>

namespace gblup {

// sigma2e / sigma2g as Davok's blup evaluation takes it from the file: the residual variance over
// the additive one, both derived from h2, qtlh2 and phvar (external_bv has no true_av, so the
// additive variance stays the one of the parameter file). A file Davok refuses is refused with
// Davok's messages; so is an h2 of 0 or 1, which leaves no evaluation to do.
double SimulatorVarianceRatio(const std::string& paramPath);

}  // namespace gblup

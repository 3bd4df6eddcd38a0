#pragma once

#include "LineModel.h"

#include <vector>

class IMinolta;

// Detection when the host tells it what to expect (ChromameterSetDetectionHint): with the right
// family, beside that family's own answered handshake; with a wrong one, beside the plain detection
// plus the failing trial of the family named. One line per figure, printed as it is taken.
void BenchHintedDetection(const std::vector<LineModel>& lines, int runs, IMinolta* facade);

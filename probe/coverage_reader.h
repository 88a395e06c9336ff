// Coverage files, read back.
#ifndef PCSIM_PROBE_COVERAGE_READER_H
#define PCSIM_PROBE_COVERAGE_READER_H

#include <string>

#include "probe/control/coverage_file.h"

namespace pcsim::probe {

// Throws a CommandError that says what is wrong with the file, and where.
CoverageData readCoverage(const std::string& path);

}  // namespace pcsim::probe

#endif

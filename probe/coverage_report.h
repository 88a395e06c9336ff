// What was called, as a report for people and programs.
#ifndef PCSIM_PROBE_COVERAGE_REPORT_H
#define PCSIM_PROBE_COVERAGE_REPORT_H

#include "console/report.h"
#include "probe/control/coverage_file.h"

namespace pcsim::probe {

Report coverageReport(const CoverageData& data);

}  // namespace pcsim::probe

#endif

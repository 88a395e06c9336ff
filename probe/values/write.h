// Written values put where they belong: numbers, addresses, texts and bytes, one word for two
// fields. The forms are those of forms.h; what doesn't fit is a CommandError that says what would.
#ifndef PCSIM_PROBE_VALUES_WRITE_H
#define PCSIM_PROBE_VALUES_WRITE_H

#include <string>

#include "probe/interface/model.h"
#include "probe/values/supplies.h"

namespace pcsim::probe {

void writeInteger(const Written& written, const Type& type, Meaning meaning,
                  const Supplies& supplies, char* at);
void writeMac(const Written& written, char* at);
// An array or an address (isWhole()).
void writeWhole(const Written& written, const Type& type, Meaning meaning, char* at);
// "a text of at most 31 bytes": what is expected there.
std::string wholeForm(const Type& type, Meaning meaning);
// A prefix, or a slot and port, in two fields of the record at 'record': also the one beside
// 'field'. False where it is no such value or no such field.
bool writeJoined(const Written& written, const Record& record, const Field& field, char* at);

}  // namespace pcsim::probe

#endif

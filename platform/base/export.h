// Marks what the library exports. Everything else stays hidden; platform/exports.map lists the same
// names for the linker, and a test compares both with the finished library.
//
// Exported operations are called through their dynamic symbol, also inside the library, so that a
// host's own definition of the same name wins.
#ifndef PCSIM_BASE_EXPORT_H
#define PCSIM_BASE_EXPORT_H

#define PCSIM_EXPORT __attribute__((visibility("default")))

#endif

// Marks what the library exports. Everything else stays hidden; platform/exports.map lists the same
// names for the linker, and a test compares both with the finished library.
//
// Exported operations are called through their dynamic symbol, also inside the library, so that a
// host's own definition of the same name wins.
#ifndef PCSIM_BASE_EXPORT_H
#define PCSIM_BASE_EXPORT_H

#define PCSIM_EXPORT __attribute__((visibility("default")))

// State that debuggers look up under a name so common that a host may well have a global of its own
// under it. The library itself uses 'own', which nobody else sees; 'visible' is the same variable.
#define PCSIM_HIDDEN __attribute__((visibility("hidden")))
#define PCSIM_SHOW_AS(visible, own) \
    extern PCSIM_EXPORT decltype(own) visible __attribute__((alias(#own)))

#endif

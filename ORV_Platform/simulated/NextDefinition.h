// The definition of a function that this one stands before, in the order in which the process was linked.
#ifndef ORV_SIMULATED_NEXTDEFINITION_H
#define ORV_SIMULATED_NEXTDEFINITION_H

#include <dlfcn.h>

#include <cstdlib>

namespace orv::sim {

// `function` gives the type only.
template <class Function>
Function *nextDefinition(Function *, const char *name) {
  void *address = dlsym(RTLD_NEXT, name);
  if (address == nullptr) std::abort();  // the C library has them all
  return reinterpret_cast<Function *>(address);
}

}  // namespace orv::sim

#endif

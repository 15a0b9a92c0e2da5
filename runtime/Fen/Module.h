// Fen::FenModule: one static object per source unit, published at load, through
// which the runtime knows the unit's types. fwkType() of an object names its
// module and the class's index in it.
#pragma once

#include <vector>

namespace Fen {

struct FenModule {
   char const* name;
};

// Publishes a module; called by each unit's static initialiser.
void fenModuleIs(FenModule const* module);
// The modules published so far, in order of publication.
std::vector<FenModule const*> const& fenModules();

}  // namespace Fen

// Defines the unit's module `variable` named `name` and publishes it when the
// library is loaded. Used once per source unit, at namespace scope.
#define FEN_MODULE(variable, name)                                                          \
   ::Fen::FenModule const variable{name};                                                   \
   namespace {                                                                              \
   [[maybe_unused]] bool const variable##Published = (::Fen::fenModuleIs(&variable), true); \
   }

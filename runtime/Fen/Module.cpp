#include "Fen/Module.h"

#include <algorithm>

namespace Fen {

namespace {
std::vector<FenModule const*>& modules() {
   static std::vector<FenModule const*> m;
   return m;
}
}  // namespace

void fenModuleIs(FenModule const* module) {
   auto& m = modules();
   if (std::find(m.begin(), m.end(), module) == m.end()) m.push_back(module);
}

std::vector<FenModule const*> const& fenModules() {
   return modules();
}

}  // namespace Fen

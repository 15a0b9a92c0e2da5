#include "WexVlanMapping/WexIntfEncapSm.h"

#include "WexVlanMapping/WexIntfEncapSmModule.h"

namespace WexVlanMapping {

Fen::FenModule const wexIntfEncapSmModule{"WexIntfEncapSm"};

namespace {
// Publishes the unit's types when the library is loaded.
struct ModulePublisher {
   ModulePublisher() { Fen::fenModuleIs(&wexIntfEncapSmModule); }
} const modulePublisher;
}  // namespace

}  // namespace WexVlanMapping

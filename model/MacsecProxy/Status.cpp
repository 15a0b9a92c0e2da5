#include "MacsecProxy/Status.h"

namespace MacsecProxy {

Fen::Ptr<Status> statusFactory() {
   return Status::StatusIs();
}

}  // namespace MacsecProxy

#include "Interface/SubIntfStatus.h"

namespace Interface {

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory() {
   return SubIntfStatusDir::SubIntfStatusDirIs();
}

namespace Hardware {

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory() {
   return SubIntfStatusDir::SubIntfStatusDirIs();
}

}  // namespace Hardware
}  // namespace Interface

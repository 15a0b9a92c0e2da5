#include "Interface/SubIntfStatus.h"

namespace Interface {

void SubIntfStatus::programInHwIs(bool v) {
   if (v == programInHw_) return;
   programInHw_ = v;
   notifiees_.visit(programInHwAttributeId, nullptr);
}

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory() {
   return SubIntfStatusDir::SubIntfStatusDirIs();
}

namespace Hardware {

void SubIntfStatus::hardwareSuccessIs(bool v) {
   if (v == hardwareSuccess_) return;
   hardwareSuccess_ = v;
   notifiees_.visit(hardwareSuccessAttributeId, nullptr);
}

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory() {
   return SubIntfStatusDir::SubIntfStatusDirIs();
}

}  // namespace Hardware
}  // namespace Interface

#include "Fen/Ptr.h"

namespace Fen {

void VFPtrInterface::handleZeroRef() const {
   auto* self = const_cast<PtrInterface*>(static_cast<PtrInterface const*>(this));
   self->zeroReferencesIs(true);
   self->fenLastReferenceGone();
   AllocTrackTypeInfo* info = self->fenAllocTrackTypeInfo();
   // The deleting destructor: body, then the tracking record, then the storage.
   self->~PtrInterface();
   if (info) AllocTrackTypeInfo::trackDeallocation(info);
   PtrInterface::fenMemFree(self);
}

}  // namespace Fen

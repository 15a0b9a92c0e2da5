#include "Fen/HashMap2018.h"

namespace Fen::HashMap2018Detail {

AllocTrackTypeInfo* bucketHeaderTypeInfo() {
   static AllocTrackTypeInfo* const info =
       AllocTrackTypeInfo::typeInfoIs("Fen::HashMap2018Generic::bucketHeader");
   return info;
}

}  // namespace Fen::HashMap2018Detail

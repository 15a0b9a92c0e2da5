#include "WexVlanMapping/WexEncapHwStatusDecoder.h"

#include "Fen/Assert.h"
#include "WexVlanMapping/WexModules.h"

namespace WexVlanMapping {

Fen::Ptr<WexEncapHwStatusDecoder> WexEncapHwStatusDecoder::WexEncapHwStatusDecoderIs(
    Ulva::IntfEncap const& intfEncap) {
   return Fen::fenObjectIs<WexEncapHwStatusDecoder>(intfEncap);
}

Fen::Ptr<WexEncapHwStatusDecoder> wexEncapHwStatusDecoderFactory(Ulva::IntfEncap const& intfEncap) {
   return WexEncapHwStatusDecoder::WexEncapHwStatusDecoderIs(intfEncap);
}

Fen::FwkType WexEncapHwStatusDecoder::fwkType() const {
   return {&wexIntfEncapSmModule, wexIntfEncapSmTypeWexEncapHwStatusDecoder};
}

Ulva::IntfEncapHwStatus WexEncapHwStatusDecoder::aggrHwStatus(bool anySuccessful) const {
   if (anySuccessful && successCount_ != 0) return Ulva::hwStatusSuccess;
   if (failedCount_ != 0) return Ulva::hwStatusFailed;
   if (notReadyCount_ != 0) return Ulva::hwStatusNotReady;
   if (successCount_ != 0) return Ulva::hwStatusSuccess;
   return Ulva::hwStatusFailed;
}

std::uint32_t& WexEncapHwStatusDecoder::counterOf(Ulva::IntfEncapHwStatus hwStatus) {
   switch (hwStatus) {
      case Ulva::hwStatusFailed:
         return failedCount_;
      case Ulva::hwStatusNotReady:
         return notReadyCount_;
      case Ulva::hwStatusSuccess:
         return successCount_;
   }
   FEN_ASSERT(0 && "invalid IntfEncapHwStatus");
   __builtin_unreachable();
}

void WexEncapHwStatusDecoder::hwStatusCountInc(Ulva::IntfEncapHwStatus hwStatus) {
   ++counterOf(hwStatus);
}

void WexEncapHwStatusDecoder::hwStatusCountDec(Ulva::IntfEncapHwStatus hwStatus) {
   --counterOf(hwStatus);
}

void WexEncapHwStatusDecoder::updateMember(Ulva::IntfEncap const& encap,
                                           Ulva::IntfEncapHwStatus newStatus) {
   if (auto const* node = hwStatus_[encap]) {
      Ulva::IntfEncapHwStatus const oldStatus = node->value;
      if (oldStatus == newStatus) return;
      hwStatusCountDec(oldStatus);
   }
   // The counter moves before the map is written.
   hwStatusCountInc(newStatus);
   hwStatusIs(encap, newStatus);
   FEN_ASSERT(hwStatuss() == hwStatusCount());
}

void WexEncapHwStatusDecoder::addMember(Ulva::IntfEncap const& encap,
                                        Ulva::IntfEncapHwStatus status) {
   if (hwStatus_[encap]) return;
   // The counter moves before the map is written, as in updateMember.
   hwStatusCountInc(status);
   hwStatusIs(encap, status);
   FEN_ASSERT(hwStatuss() == hwStatusCount());
}

void WexEncapHwStatusDecoder::removeMember(Ulva::IntfEncap const& encap) {
   if (auto const* node = hwStatus_[encap]) hwStatusCountDec(node->value);
   hwStatusDel(encap);
   FEN_ASSERT(hwStatuss() == hwStatusCount());
}

}  // namespace WexVlanMapping

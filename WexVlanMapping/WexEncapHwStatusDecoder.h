// WexVlanMapping::WexEncapHwStatusDecoder: folds the hardware statuses of several
// members into one status.
//
// A multiset of statuses: a map from member encap to its last recorded status,
// kept in step with three counters, so that the aggregate and the member count
// are read in constant time whatever the number of members. It knows nothing of
// LAGs or services; the state machine keeps one per LAG encap and one per
// service interface.
//
// Invariant, asserted after each updateMember and removeMember:
//   hwStatuss() == hwStatusCount()
// The raw accessors (hwStatusIs, hwStatusDel, the counter Inc/Dec) touch only
// their own attribute and can break it; only reflection reaches them.
//
// Thread safety: none; used on the state machine's thread.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/HashMap2018.h"
#include "Fen/Ptr.h"
#include "Fen/Reflect.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"

namespace WexVlanMapping {

class WexEncapHwStatusDecoder : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("WexVlanMapping::WexEncapHwStatusDecoder")

public:
   static Fen::Ptr<WexEncapHwStatusDecoder> WexEncapHwStatusDecoderIs(
       Ulva::IntfEncap const& intfEncap);
   explicit WexEncapHwStatusDecoder(Ulva::IntfEncap const& intfEncap) : intfEncap_(intfEncap) {}

   Fen::FwkType fwkType() const override;

   // The decoder's key: a LAG encap, or a service encap.
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }

   // Members and the status last recorded for each; an absent key reads as
   // hwStatusFailed. Declared with the members below.

   std::uint32_t failedCount() const { return failedCount_; }
   std::uint32_t notReadyCount() const { return notReadyCount_; }
   std::uint32_t successCount() const { return successCount_; }
   void failedCountIs(std::uint32_t n) { failedCount_ = n; }
   void notReadyCountIs(std::uint32_t n) { notReadyCount_ = n; }
   void successCountIs(std::uint32_t n) { successCount_ = n; }
   void failedCountInc(std::uint32_t delta) { failedCount_ += delta; }
   void failedCountDec(std::uint32_t delta) { failedCount_ -= delta; }
   void notReadyCountInc(std::uint32_t delta) { notReadyCount_ += delta; }
   void notReadyCountDec(std::uint32_t delta) { notReadyCount_ -= delta; }
   void successCountInc(std::uint32_t delta) { successCount_ += delta; }
   void successCountDec(std::uint32_t delta) { successCount_ -= delta; }

   // The aggregate, from the counters alone. With `anySuccessful` false: the
   // worst status among the members, failure first. With it true: success as
   // soon as one member succeeded. No member reads as failed, either way.
   Ulva::IntfEncapHwStatus aggrHwStatus(bool anySuccessful) const;
   // Records a member's status; a repeat of the recorded status changes nothing.
   void updateMember(Ulva::IntfEncap const& encap, Ulva::IntfEncapHwStatus newStatus);
   // Records a new member with `status`; a member already there keeps the status
   // recorded for it. One lookup of the key, not the two of hwStatusHas and then
   // updateMember.
   void addMember(Ulva::IntfEncap const& encap, Ulva::IntfEncapHwStatus status);
   // Forgets a member; a key that is no member changes nothing.
   void removeMember(Ulva::IntfEncap const& encap);
   // Moves the counter of `hwStatus` by one; a byte outside the enumeration ends
   // the process.
   void hwStatusCountInc(Ulva::IntfEncapHwStatus hwStatus);
   void hwStatusCountDec(Ulva::IntfEncapHwStatus hwStatus);
   std::uint32_t hwStatusCount() const { return failedCount_ + notReadyCount_ + successCount_; }

private:
   std::uint32_t& counterOf(Ulva::IntfEncapHwStatus hwStatus);

   Ulva::IntfEncap const intfEncap_;

public:
   // FenHwStatus, HwStatusMap, hwStatus_ and its accessors.
   FEN_COLLECTION(hwStatus, FenHwStatus, HwStatusMap, Ulva::IntfEncap, Ulva::IntfEncapHwStatus,
                  0x2C8AAE16)

private:
   std::uint32_t failedCount_ = 0;
   std::uint32_t notReadyCount_ = 0;
   std::uint32_t successCount_ = 0;

public:
   // What reflection sees, in attribute order from 130.
   using FenReflection = Fen::Reflection<
       void, Fen::Ctor<Fen::Arg<"intfEncap", Ulva::IntfEncap>>,
       Fen::ValueRow<"intfEncap", &WexEncapHwStatusDecoder::intfEncap>, FenRow_hwStatus,
       Fen::ValueRow<"failedCount", &WexEncapHwStatusDecoder::failedCount,
                     &WexEncapHwStatusDecoder::failedCountIs>,
       Fen::ValueRow<"notReadyCount", &WexEncapHwStatusDecoder::notReadyCount,
                     &WexEncapHwStatusDecoder::notReadyCountIs>,
       Fen::ValueRow<"successCount", &WexEncapHwStatusDecoder::successCount,
                     &WexEncapHwStatusDecoder::successCountIs>,
       Fen::MethodRow<"aggrHwStatus", &WexEncapHwStatusDecoder::aggrHwStatus, "anySuccessful">,
       Fen::MethodRow<"updateMember", &WexEncapHwStatusDecoder::updateMember, "encap", "newStatus">,
       Fen::MethodRow<"removeMember", &WexEncapHwStatusDecoder::removeMember, "encap">,
       Fen::MethodRow<"hwStatusCountInc", &WexEncapHwStatusDecoder::hwStatusCountInc, "hwStatus">,
       Fen::MethodRow<"hwStatusCountDec", &WexEncapHwStatusDecoder::hwStatusCountDec, "hwStatus">,
       Fen::MethodRow<"hwStatusCount", &WexEncapHwStatusDecoder::hwStatusCount>>;
};

Fen::Ptr<WexEncapHwStatusDecoder> wexEncapHwStatusDecoderFactory(Ulva::IntfEncap const& intfEncap);

}  // namespace WexVlanMapping

// Sub-interface status of the interface model:
//
// Interface::SubIntfStatusDir            intfStatus: id -> SubIntfStatus (386)
// Interface::SubIntfStatus               programInHw (515)
// Interface::Hardware::SubIntfStatusDir  hardwareStatus: id -> SubIntfStatus (258)
// Interface::Hardware::SubIntfStatus     hardwareSuccess (259)
//
// The directories use the legacy key form (the id's own unseeded hash). Each
// change notifies its attribute with the key; a write equal to the stored value
// is silent.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Kestin/IntfId.h"

namespace Interface {

// The key of a status object in its directory is the object's own `intfId`.
template <class Status>
struct StatusKeyFunktor {
   Kestin::IntfId operator()(Fen::Ptr<Status> const& s) const { return s->intfId(); }
};

class SubIntfStatus : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::SubIntfStatus")

public:
   static constexpr Fen::AttributeId programInHwAttributeId = 515;

   explicit SubIntfStatus(Kestin::IntfId intfId) : intfId_(intfId) {}

   Kestin::IntfId intfId() const { return intfId_; }
   bool programInHw() const { return programInHw_; }
   void programInHwIs(bool v);

private:
   Kestin::IntfId const intfId_;
   bool programInHw_ = false;
};

class SubIntfStatusDir : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::SubIntfStatusDir")

public:
   static constexpr Fen::AttributeId intfStatusAttributeId = 386;
   struct FenIntfStatus {
      static constexpr std::uint32_t salt = 0;
      using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;
      using KeyFunktor = StatusKeyFunktor<SubIntfStatus>;
   };
   using IntfStatusMap = Fen::HashMap2018<FenIntfStatus, Kestin::IntfId, Fen::Ptr<SubIntfStatus>>;

   FEN_CREATOR(SubIntfStatusDir)

   FEN_NOTIFYING_OWNED_COLLECTION_ACCESSORS(intfStatus, IntfStatusMap, intfStatus_, SubIntfStatus,
                                            intfStatusAttributeId, notifiees_)

private:
   IntfStatusMap intfStatus_;
};

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory();

namespace Hardware {

class SubIntfStatus : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::Hardware::SubIntfStatus")

public:
   static constexpr Fen::AttributeId hardwareSuccessAttributeId = 259;

   explicit SubIntfStatus(Kestin::IntfId intfId) : intfId_(intfId) {}

   Kestin::IntfId intfId() const { return intfId_; }
   // False in a new entry.
   bool hardwareSuccess() const { return hardwareSuccess_; }
   void hardwareSuccessIs(bool v);

private:
   Kestin::IntfId const intfId_;
   bool hardwareSuccess_ = false;
};

class SubIntfStatusDir : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::Hardware::SubIntfStatusDir")

public:
   static constexpr Fen::AttributeId hardwareStatusAttributeId = 258;
   struct FenHardwareStatus {
      static constexpr std::uint32_t salt = 0;
      using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;
      using KeyFunktor = StatusKeyFunktor<SubIntfStatus>;
   };
   using HardwareStatusMap =
       Fen::HashMap2018<FenHardwareStatus, Kestin::IntfId, Fen::Ptr<SubIntfStatus>>;

   FEN_CREATOR(SubIntfStatusDir)

   // hardwareStatusIs(id) creates the entry or returns the existing one;
   // hardwareStatusDel(id) gives back the removed entry, null if none.
   FEN_NOTIFYING_OWNED_COLLECTION_ACCESSORS(hardwareStatus, HardwareStatusMap, hardwareStatus_,
                                            SubIntfStatus, hardwareStatusAttributeId, notifiees_)

private:
   HardwareStatusMap hardwareStatus_;
};

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory();

}  // namespace Hardware
}  // namespace Interface

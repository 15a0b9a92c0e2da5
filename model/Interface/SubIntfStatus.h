// Sub-interface status of the interface model:
//
// Interface::SubIntfStatusDir            intfStatus: id -> SubIntfStatus (386)
// Interface::SubIntfStatus               programInHw (515)
// Interface::Hardware::SubIntfStatusDir  hardwareStatus: id -> SubIntfStatus (258)
// Interface::Hardware::SubIntfStatus     hardwareSuccess (259)
//
// The directories use the legacy key form (the id's own unseeded hash). Each
// change notifies its attribute with the key; a write equal to the stored value
// is silent. A directory holds its members under a key of their own: a writer can
// put another object of the same id in place of a member in one write, or leave
// a null member under a key (intfStatusIs(id, ptr), hardwareStatusIs(id, ptr)).
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Interface/Module.h"
#include "Kestin/IntfId.h"

namespace Interface {

class SubIntfStatus : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::SubIntfStatus")

public:
   explicit SubIntfStatus(Kestin::IntfId intfId) : intfId_(intfId) {}
   Kestin::IntfId intfId() const { return intfId_; }
   // programInHwAttributeId, programInHw(), programInHwIs(v); false at first.
   FEN_NOTIFYING_VALUE(programInHw, bool, 515, false)
   FEN_FWK_TYPE(SubIntfStatus)
   using FenReflection = Fen::Reflection<
       Fen::FirstId<514>, Fen::Ctor<Fen::Arg<"intfId", Kestin::IntfId>>,
       Fen::ValueRow<"intfId", &SubIntfStatus::intfId>,
       Fen::ValueRow<"programInHw", &SubIntfStatus::programInHw, &SubIntfStatus::programInHwIs>>;

private:
   Kestin::IntfId const intfId_;
};

class SubIntfStatusDir : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::SubIntfStatusDir")

public:
   FEN_CREATOR(SubIntfStatusDir)
   // intfStatusAttributeId, FenIntfStatus, IntfStatusMap, intfStatus_ and its
   // accessors: intfStatusIs(id) finds or makes the member; intfStatusIs(id, ptr)
   // puts `ptr` (null too) under `id`.
   FEN_NOTIFYING_OBJECT_COLLECTION(intfStatus, FenIntfStatus, IntfStatusMap, 386, Kestin::IntfId,
                                   SubIntfStatus, 0, void, Fen::HashHelper::KeyAndRhashLegacy)
   FEN_FWK_TYPE(SubIntfStatusDir)
   using FenReflection = Fen::Reflection<Fen::FirstId<386>, Fen::Ctor<>, FenRow_intfStatus>;
};

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory();

namespace Hardware {

class SubIntfStatus : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::Hardware::SubIntfStatus")

public:
   explicit SubIntfStatus(Kestin::IntfId intfId) : intfId_(intfId) {}
   Kestin::IntfId intfId() const { return intfId_; }
   // hardwareSuccessAttributeId, hardwareSuccess(), hardwareSuccessIs(v); false
   // in a new entry.
   FEN_NOTIFYING_VALUE(hardwareSuccess, bool, 259, false)
   FEN_FWK_TYPE(SubIntfStatus)
   using FenReflection =
       Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<Fen::Arg<"intfId", Kestin::IntfId>>,
                       Fen::ValueRow<"intfId", &SubIntfStatus::intfId>,
                       Fen::ValueRow<"hardwareSuccess", &SubIntfStatus::hardwareSuccess,
                                     &SubIntfStatus::hardwareSuccessIs>>;

private:
   Kestin::IntfId const intfId_;
};

class SubIntfStatusDir : public Fen::Notifier {
   FEN_COUNTED_CLASS("Interface::Hardware::SubIntfStatusDir")

public:
   FEN_CREATOR(SubIntfStatusDir)
   // hardwareStatusAttributeId, FenHardwareStatus, HardwareStatusMap,
   // hardwareStatus_ and its accessors: hardwareStatusIs(id) creates the entry or
   // returns the existing one; hardwareStatusIs(id, ptr) puts `ptr` (null too)
   // under `id`; hardwareStatusDel(id) gives back the removed entry, null if none.
   FEN_NOTIFYING_OBJECT_COLLECTION(hardwareStatus, FenHardwareStatus, HardwareStatusMap, 258,
                                   Kestin::IntfId, SubIntfStatus, 0, void,
                                   Fen::HashHelper::KeyAndRhashLegacy)
   FEN_FWK_TYPE(SubIntfStatusDir)
   using FenReflection = Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<>, FenRow_hardwareStatus>;
};

Fen::Ptr<SubIntfStatusDir> subIntfStatusDirFactory();

}  // namespace Hardware
}  // namespace Interface

// Ulva::ServiceIntfType and Ulva::ServiceIntfFwdInfo: how a service interface
// forwards.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/Hash.h"
#include "Fen/Record.h"
#include "Fen/Strep.h"
#include "Kestin/IntfId.h"
#include "Ulva/Module.h"

namespace Ulva {

// The kind of a service. Values 0 and 2 are what the multiplexer tests for; any
// value may be supported by a platform.
enum ServiceIntfType : std::uint8_t {
   serviceIntfTypeDefault = 0,
   serviceIntfTypeTunnel = 1,
   serviceIntfTypeSubIntf = 2,
   serviceIntfTypePseudowire = 3,
};

std::ostream& operator<<(std::ostream& os, ServiceIntfType t);
// String form: the enumerator's name, "serviceIntfTypeSubIntf"; a value without
// a name (any byte is a service type) in decimal.
Fen::String valueToStrep(ServiceIntfType const& t);
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     ServiceIntfType* out);

// The forwarding record of a service interface, copied whole. `fwdData` is
// opaque to this system, except that 0 means nothing to forward to.
// The enumeration's names, told once.
extern Fen::EnumType<unsigned char> const serviceIntfTypeType;

class ServiceIntfFwdInfo {
public:
   ServiceIntfFwdInfo() = default;
   explicit ServiceIntfFwdInfo(Kestin::IntfId serviceIntf) : serviceIntf_(serviceIntf) {}
   // Parses the string form (see valueToStrep).
   ServiceIntfFwdInfo(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   // The key in Ulva::ServiceIntfFwdInfoColl.
   Kestin::IntfId serviceIntf() const { return serviceIntf_; }
   ServiceIntfType serviceType() const { return serviceType_; }
   void serviceTypeIs(ServiceIntfType t) { serviceType_ = t; }
   std::uint16_t fwdData() const { return fwdData_; }
   void fwdDataIs(std::uint16_t d) { fwdData_ = d; }

   bool operator==(ServiceIntfFwdInfo const& o) const { return Fen::recordEqual(*this, o); }
   // Seeded 32-bit hash, packed: the id as one word, type and data as another.
   std::uint32_t hash(std::uint32_t seed) const {
      Fen::Hash h(seed);
      h.hashMix<8>(serviceIntf_.value());
      h.hashMix<4>((std::uint32_t{serviceType_} << 16) | fwdData_);
      return h.result();
   }

private:
   Kestin::IntfId serviceIntf_;
   ServiceIntfType serviceType_ = serviceIntfTypeDefault;
   std::uint16_t fwdData_ = 0;

public:
   // The fields, in declaration order (see Fen/Record.h).
   using FenFields =
       Fen::Fields<"Ulva::ServiceIntfFwdInfo",
                   Fen::Field<&ServiceIntfFwdInfo::serviceIntf_, "serviceIntf", Fen::ctorOnly>,
                   Fen::Field<&ServiceIntfFwdInfo::serviceType_, "serviceType">,
                   Fen::Field<&ServiceIntfFwdInfo::fwdData_, "fwdData">>;
};

std::ostream& operator<<(std::ostream& os, ServiceIntfFwdInfo const& info);
// The parseable string form, beside the readable one above:
//   Value('Ulva::ServiceIntfFwdInfo', ** {'serviceIntf': 'Ethernet3/1.100',
//         'serviceType': serviceIntfTypeSubIntf, 'fwdData': 7})
inline Fen::String valueToStrep(ServiceIntfFwdInfo const& info) {
   return Fen::recordToStrep(info);
}

}  // namespace Ulva

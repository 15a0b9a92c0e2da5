#include "SmFixture.h"

#include <algorithm>
#include <sstream>

namespace TestSupport {

std::vector<std::string> RecordingPlatform::callKeys() const {
   std::vector<std::string> out;
   for (auto const& c : calls) {
      std::ostringstream os;
      os << (c.kind == hookAdd ? "add " : "delete ") << c.config.intfEncap().intfId() << " "
         << c.config.intfEncap().encap().outerTag().vid();
      if (c.config.intfEncap().encap().innerTag().vid() != Ulva::VlanTag::vidDefault) {
         os << "." << c.config.intfEncap().encap().innerTag().vid();
      }
      out.push_back(os.str());
   }
   return out;
}

SmFixture::SmFixture()
    : wcsd(Wex::wexCommonSmDataFactory()),
      fwd(Ulva::serviceIntfFwdInfoCollFactory()),
      svcStatus(Ulva::serviceIntfHwStatusCollFactory()),
      wanted(Ulva::intfEncapServiceIntfCollFactory()),
      published(Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus")),
      remote(Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus")),
      dynamic(WexVlanMapping::wexDynamicIntfEncapCollFactory()),
      hw(Ulva::intfEncapHwStatusCollFactory("testHwStatus")) {}

SmFixture::~SmFixture() = default;

void SmFixture::startRecording(bool withRemote) {
   recording = Fen::fenObjectIs<RecordingPlatform>(
       wcsd, fwd, svcStatus, wanted, published,
       withRemote ? Fen::Ptr<Ulva::IntfEncapHwStatusColl const>(remote) : nullptr);
   recording->handleInitialized();
}

void SmFixture::startSimulated(bool withRemote) {
   simulated = intfEncapSmFactory({.wcsd = wcsd,
                                   .serviceIntfFwdInfo = fwd,
                                   .serviceIntfHwStatus = svcStatus,
                                   .intfEncapServiceIntf = wanted,
                                   .intfEncapHwStatus = published,
                                   .remoteEncapHwStatus = withRemote ? remote : nullptr,
                                   .dynamicIntfEncap = dynamic,
                                   .testHwStatusColl = hw});
}

WexVlanMapping::WexIntfEncapSm& SmFixture::machine() const {
   if (recording) return *recording;
   return *simulated;
}

Ulva::IntfEncap SmFixture::encap(char const* intf, std::uint32_t outerVid, std::uint32_t innerVid) {
   return Ulva::IntfEncap(id(intf),
                          Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::vlanTag(innerVid)));
}

void SmFixture::fwdInfoIs(char const* svcIntf, std::uint16_t fwdData, Ulva::ServiceIntfType type) {
   Ulva::ServiceIntfFwdInfo info(id(svcIntf));
   info.fwdDataIs(fwdData);
   info.serviceTypeIs(type);
   fwd->fwdInfoIs(info);
}

void SmFixture::lagIs(char const* lag, std::initializer_list<char const*> ports) {
   Wex::WexLagPortList list;
   for (char const* p : ports)
      list.portIs(id(p), Wex::WexLagPort());
   wcsd->lagToPortIs(id(lag), list);
   for (char const* p : ports)
      wcsd->portToLagIs(id(p), id(lag));
}

WexIntfEncapHwConfig SmFixture::plainConfig(Ulva::IntfEncap const& e, char const* svcIntf,
                                            std::uint16_t fwdData) const {
   Ulva::ServiceIntfFwdInfo info(id(svcIntf));
   info.fwdDataIs(fwdData);
   Kestin::IntfId const lag =
       Kestin::PortChannelIntfId::isPortChannelIntfId(e.intfId()) ? e.intfId() : Kestin::IntfId();
   WexIntfEncapHwConfig c(e, info, lag);
   c.egressEncapIs(e.encap());
   return c;
}

void SmFixture::lagMembersIs(char const* lag, std::initializer_list<char const*> ports) {
   Wex::WexLagPortList list;
   for (char const* p : ports) {
      list.portIs(id(p), Wex::WexLagPort());
   }
   wcsd->lagToPortIs(id(lag), list);
}

std::vector<Kestin::IntfId> SmFixture::lagPorts(char const* lag) const {
   std::vector<Kestin::IntfId> out;
   Wex::WexLagPortList const list = wcsd->lagToPort(id(lag));
   for (Wex::WexLagPortList::PortMap::IteratorConst it(list.portMap()); it; it.advance()) {
      out.push_back(it.key());
   }
   return out;
}

}  // namespace TestSupport

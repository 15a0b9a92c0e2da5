#include "SmFixture.h"

#include <algorithm>
#include <sstream>

namespace WexVlanMappingTest {

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

TraceCapture::TraceCapture(std::initializer_list<char const*> facilities, std::uint32_t mask) {
   for (char const* f : facilities) {
      savedMasks_.emplace_back(f, Fen::TraceHandle::levelMask(f));
      Fen::TraceHandle::levelMaskIs(f, mask);
   }
   savedSink_ = Fen::traceSinkIs([this](Fen::String const&, int level, Fen::String const& text) {
      lines_.push_back(text.stdString());
      levels_.push_back(level);
   });
}

TraceCapture::~TraceCapture() {
   Fen::traceSinkIs(savedSink_);
   for (auto const& [f, m] : savedMasks_)
      Fen::TraceHandle::levelMaskIs(f.c_str(), m);
}

bool TraceCapture::contains(std::string const& line) const {
   return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

std::vector<std::string> TraceCapture::matching(std::string const& part) const {
   std::vector<std::string> out;
   for (auto const& l : lines_) {
      if (l.find(part) != std::string::npos) out.push_back(l);
   }
   return out;
}

std::vector<std::string> TraceCapture::startingWithAt(std::string const& prefix, int level) const {
   std::vector<std::string> out;
   for (auto const& l : linesAt(level)) {
      if (l.rfind(prefix, 0) == 0) out.push_back(l);
   }
   auto const anyLevel =
       std::count_if(lines_.begin(), lines_.end(),
                     [&prefix](std::string const& l) { return l.rfind(prefix, 0) == 0; });
   EXPECT_EQ(out.size(), static_cast<std::size_t>(anyLevel))
       << prefix << "at a level other than " << level;
   return out;
}

std::vector<std::string> TraceCapture::linesAt(int level) const {
   std::vector<std::string> out;
   for (std::size_t i = 0; i < lines_.size(); ++i) {
      if (levels_[i] == level) {
         out.push_back(lines_[i]);
      }
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
   simulated = intfEncapSmFactory(
       wcsd, fwd, svcStatus, wanted, published,
       withRemote ? Fen::Ptr<Ulva::IntfEncapHwStatusColl const>(remote) : nullptr, dynamic, hw);
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

WexIntfEncapHwConfig SmFixture::memberConfig(WexIntfEncapHwConfig const& lagConfig,
                                             char const* port) {
   WexIntfEncapHwConfig c(Ulva::IntfEncap(id(port), lagConfig.intfEncap().encap()),
                          lagConfig.fwdInfo(), lagConfig.lagId());
   c.egressEncapIs(lagConfig.egressEncap());
   c.sourceIs(lagConfig.source());
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

}  // namespace WexVlanMappingTest

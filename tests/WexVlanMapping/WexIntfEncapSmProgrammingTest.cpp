// Programming configs: spreading a wanted config to the ports that carry it
// (LAG first, then its members; members' deletes before the LAG's), the per-port
// add and delete that call the platform hooks, the wanted-config lists, and the
// base class whose hooks are not implemented.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "EncapSmTestKit.h"
#include "WexVlanMapping/WexModules.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using WexVlanMapping::WexIntfEncapSm;
using WexVlanMapping::WexPortEncapHwConfigList;

constexpr std::uint32_t level7 = Fen::TraceFacility::levelBit(7);

class WexIntfEncapSmLagConfig : public EncapSmTest {
protected:
   bool listHas(char const* intf, Ulva::IntfEncap const& e) const {
      auto const list = machine().portToHwConfigList(id(intf));
      return list && list->hwConfigHas(e);
   }
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
};

// ---- spreading a config -----------------------------------------------------------

TEST_F(WexIntfEncapSmLagConfig, PlainPortIsRecordedAndProgrammedOnce) {
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");

   startRecording();

   EXPECT_TRUE(listHas("Ethernet1", e));
   EXPECT_EQ(sm().getHwConfig(e), plainConfig(e, "Vlan100", 7));
   EXPECT_THAT(calls(), ElementsAre(added(plainConfig(e, "Vlan100", 7))));
   EXPECT_EQ(sm().hwConfigColl()->config(e), plainConfig(e, "Vlan100", 7));
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmLagConfig, PlainConfigOfPortInLagIsRecordedButNotProgrammed) {
   Ulva::IntfEncap const e = encap("Ethernet1", 200);
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");

   startRecording();

   EXPECT_TRUE(listHas("Ethernet1", e));
   EXPECT_EQ(sm().getHwConfig(e), plainConfig(e, "Vlan100", 7));
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e));
}

TEST_F(WexIntfEncapSmLagConfig, LagConfigGoesToTheLagFirstThenToEachMember) {
   lagIs("Port-Channel1", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   wantIs(lagEncap, "Vlan100");

   startRecording();

   WexIntfEncapHwConfig const lagConfig = plainConfig(lagEncap, "Vlan100", 7);
   ASSERT_EQ(lagConfig.lagId(), id("Port-Channel1"));
   ASSERT_EQ(calls().size(), 3u);
   EXPECT_EQ(calls()[0], added(lagConfig));
   EXPECT_THAT(std::vector<RecordingPlatform::HookCall>(calls().begin() + 1, calls().end()),
               UnorderedElementsAre(added(memberConfig(lagConfig, "Ethernet1")),
                                    added(memberConfig(lagConfig, "Ethernet2"))));
   for (auto const& call : calls()) {
      EXPECT_EQ(call.config.lagId(), id("Port-Channel1"));
      EXPECT_EQ(call.config.retryCnt(), 0u);
      EXPECT_EQ(call.config.intfEncap().encap(), lagEncap.encap());
   }
   // Only the LAG's own config is wanted; member configs live in hwConfigColl only.
   EXPECT_EQ(sm().portToHwConfigList(id("Port-Channel1"))->hwConfigs(), 1u);
   EXPECT_FALSE(sm().portToHwConfigListHas(id("Ethernet1")));
   EXPECT_FALSE(sm().portToHwConfigListHas(id("Ethernet2")));
   EXPECT_EQ(sm().hwConfigColl()->configs(), 3u);
   EXPECT_EQ(sm().hwStatusColl()->hwStatuss(), 3u);
}

TEST_F(WexIntfEncapSmLagConfig, MemberConfigsCarryTheLagsEgressSourceAndForwarding) {
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan200", 9, Ulva::serviceIntfTypeSubIntf);
   dynamic->entryIs(dynamicEntry(lagEncap, encap("Port-Channel1", 300, 30).encap(),
                                 WexVlanMapping::macsecProxy, "Vlan200"));
   buildRecording();
   sm().dynamicIntfEncapIs(dynamic);

   sm().handleInitialized();

   ASSERT_EQ(calls().size(), 2u);
   WexIntfEncapHwConfig const& lagConfig = calls()[0].config;
   WexIntfEncapHwConfig const& member = calls()[1].config;
   EXPECT_EQ(lagConfig.intfEncap(), lagEncap);
   EXPECT_EQ(member.intfEncap(), encap("Ethernet1", 100));
   EXPECT_EQ(member.egressEncap(), encap("Port-Channel1", 300, 30).encap());
   EXPECT_EQ(member.source(), WexVlanMapping::macsecProxy);
   EXPECT_EQ(member.fwdInfo(), lagConfig.fwdInfo());
   EXPECT_EQ(member.fwdInfo().serviceType(), Ulva::serviceIntfTypeSubIntf);
   EXPECT_EQ(member.lagId(), id("Port-Channel1"));
   EXPECT_EQ(member.retryCnt(), 0u);
   EXPECT_TRUE(member.isLagMember());
}

TEST_F(WexIntfEncapSmLagConfig, LagWithoutMembersIsProgrammedOnce) {
   Ulva::IntfEncap const emptyLag = encap("Port-Channel2", 100);
   Ulva::IntfEncap const unknownLag = encap("Port-Channel3", 100);
   lagIs("Port-Channel2", {});
   fwdInfoIs("Vlan100", 7);
   wantIs(emptyLag, "Vlan100");
   wantIs(unknownLag, "Vlan100");

   startRecording();

   EXPECT_THAT(calls(), UnorderedElementsAre(added(plainConfig(emptyLag, "Vlan100", 7)),
                                             added(plainConfig(unknownLag, "Vlan100", 7))));
}

TEST_F(WexIntfEncapSmLagConfig, DeletingLagConfigDeletesMembersFirstThenTheLag) {
   lagIs("Port-Channel1", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   wantIs(lagEncap, "Vlan100");
   startRecording();
   WexIntfEncapHwConfig const lagConfig = plainConfig(lagEncap, "Vlan100", 7);
   ASSERT_TRUE(sm().lagHwStatusDecoderHas(lagEncap));
   calls().clear();

   sm().doDeleteHwConfig(sm().getHwConfig(lagEncap));

   ASSERT_EQ(calls().size(), 3u);
   EXPECT_THAT(std::vector<RecordingPlatform::HookCall>(calls().begin(), calls().begin() + 2),
               UnorderedElementsAre(deleted(memberConfig(lagConfig, "Ethernet1")),
                                    deleted(memberConfig(lagConfig, "Ethernet2"))));
   EXPECT_EQ(calls()[2], deleted(lagConfig));
   EXPECT_FALSE(sm().lagHwStatusDecoderHas(lagEncap));
   EXPECT_FALSE(sm().portToHwConfigListHas(id("Port-Channel1")));
   EXPECT_EQ(sm().hwConfigColl()->configs(), 0u);
   EXPECT_EQ(sm().hwStatusColl()->hwStatuss(), 0u);
}

TEST_F(WexIntfEncapSmLagConfig, RemovingTheWishForALagEncapDeletesMembersThenTheLag) {
   lagIs("Port-Channel1", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   wantIs(lagEncap, "Vlan100");
   startRecording();
   calls().clear();

   wanted->serviceIntfDel(lagEncap);

   std::vector<std::string> const keys = recording->callKeys();
   ASSERT_EQ(keys.size(), 3u);
   EXPECT_THAT(std::vector<std::string>(keys.begin(), keys.begin() + 2),
               UnorderedElementsAre("delete Ethernet1 100", "delete Ethernet2 100"));
   EXPECT_EQ(keys[2], "delete Port-Channel1 100");
}

TEST_F(WexIntfEncapSmLagConfig, LagListStaysWhileItHasOtherConfigs) {
   Ulva::IntfEncap const otherLagEncap = encap("Port-Channel1", 200);
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   wantIs(lagEncap, "Vlan100");
   wantIs(otherLagEncap, "Vlan100");
   startRecording();

   sm().doDeleteHwConfig(sm().getHwConfig(lagEncap));

   ASSERT_TRUE(sm().portToHwConfigListHas(id("Port-Channel1")));
   EXPECT_FALSE(listHas("Port-Channel1", lagEncap));
   EXPECT_TRUE(listHas("Port-Channel1", otherLagEncap));
   EXPECT_TRUE(sm().lagHwStatusDecoderHas(otherLagEncap));
}

TEST_F(WexIntfEncapSmLagConfig, DeletingTheLastConfigOfAPortRemovesItsList) {
   Ulva::IntfEncap const first = encap("Ethernet1", 100);
   Ulva::IntfEncap const second = encap("Ethernet1", 200);
   fwdInfoIs("Vlan100", 7);
   wantIs(first, "Vlan100");
   wantIs(second, "Vlan100");
   startRecording();
   calls().clear();

   wanted->serviceIntfDel(first);

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(first, "Vlan100", 7))));
   ASSERT_TRUE(sm().portToHwConfigListHas(id("Ethernet1")));
   EXPECT_EQ(sm().portToHwConfigList(id("Ethernet1"))->hwConfigs(), 1u);

   wanted->serviceIntfDel(second);

   EXPECT_FALSE(sm().portToHwConfigListHas(id("Ethernet1")));
}

// ---- the per-port add and delete ------------------------------------------------

class WexIntfEncapSmPortConfig : public EncapSmTest {
protected:
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   WexIntfEncapHwConfig const config = plainConfig(e, "Vlan100", 7);
};

TEST_F(WexIntfEncapSmPortConfig, AddOnDownPortIsIgnoredWithATrace) {
   startRecording();
   sm().portDownIs(id("Ethernet1"), true);
   TraceCapture trace;

   sm().doAddPortHwConfig(config);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, "
                           "4095:0x8100), ignored due to platform port down"));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(HasSubstr("ignored due to platform port down")));
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e));
}

TEST_F(WexIntfEncapSmPortConfig, AddOnDownPortTakesOutWhatWasStored) {
   startRecording();
   WexIntfEncapHwConfig stored = config;
   stored.retryCntIs(2);
   sm().hwConfigColl()->configIs(stored);
   sm().hwStatusColl()->hwStatusIs(e, Ulva::hwStatusNotReady);
   sm().portDownIs(id("Ethernet1"), true);
   TraceCapture trace(level7);

   sm().doAddPortHwConfig(config);

   EXPECT_THAT(calls(), ElementsAre(deleted(stored)));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e));
   EXPECT_THAT(trace.linesAt(7),
               ElementsAre("WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, "
                           "4095:0x8100), ignored due to platform port down",
                           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, "
                           "4095:0x8100)"));
}

TEST_F(WexIntfEncapSmPortConfig, PortMarkedUpProceeds) {
   startRecording();
   sm().portDownIs(id("Ethernet1"), false);
   TraceCapture trace;

   sm().doAddPortHwConfig(config);

   EXPECT_THAT(calls(), ElementsAre(added(config)));
   EXPECT_EQ(sm().hwConfigColl()->config(e), config);
   EXPECT_THAT(trace.linesAt(7), ElementsAre("WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, "
                                             "100:0x8100, 4095:0x8100) lagId:"));
}

TEST_F(WexIntfEncapSmPortConfig, SameConfigTwiceIsProgrammedOnce) {
   startRecording();
   recording->defaultAnswer = Ulva::hwStatusNotReady;

   sm().doAddPortHwConfig(config);
   sm().hwStatusColl()->hwStatusIs(e, Ulva::hwStatusFailed);  // the platform's later word
   sm().doAddPortHwConfig(config);

   EXPECT_THAT(calls(), ElementsAre(added(config)));
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmPortConfig, FreshConfigReplacesOneWithARaisedRetryCount) {
   startRecording();
   WexIntfEncapHwConfig retried = config;
   retried.retryCntIs(4);
   sm().hwConfigColl()->configIs(retried);

   sm().doAddPortHwConfig(config);

   EXPECT_THAT(calls(), ElementsAre(added(config)));
   EXPECT_EQ(sm().hwConfigColl()->config(e), config);
   EXPECT_EQ(sm().hwConfigColl()->config(e).retryCnt(), 0u);
}

// A platform that looks at hwConfigColl from inside its add hook.
class PeekingPlatform : public Fen::StateMachine<PeekingPlatform, WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMappingTest::PeekingPlatform")

public:
   using StateMachine::StateMachine;
   ~PeekingPlatform() override { fenTeardownReactors(); }
   Ulva::IntfEncapHwStatus platformAddHwConfig(WexIntfEncapHwConfig const& c) override {
      sawStored = hwConfigColl()->config(c.intfEncap()) == c;
      return Ulva::hwStatusSuccess;
   }
   void platformDeleteHwConfig(WexIntfEncapHwConfig const&) override {}
   auto fenReactors() { return std::tie(); }

   bool sawStored = false;
};

TEST_F(WexIntfEncapSmPortConfig, ConfigIsStoredBeforeTheHookRuns) {
   auto const peeking =
       Fen::fenObjectIs<PeekingPlatform>(wcsd, fwd, svcStatus, wanted, published, nullptr);
   peeking->handleInitialized();

   peeking->doAddPortHwConfig(config);

   EXPECT_TRUE(peeking->sawStored);
}

TEST_F(WexIntfEncapSmPortConfig, MemberStatusLandsInHwStatusAndInTheLagDecoder) {
   startRecording();
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   WexIntfEncapHwConfig const member =
       memberConfig(plainConfig(lagEncap, "Vlan100", 7), "Ethernet1");
   recording->answers[e] = Ulva::hwStatusNotReady;
   TraceCapture trace;

   sm().doAddPortHwConfig(member);

   EXPECT_THAT(calls(), ElementsAre(added(member)));
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e), Ulva::hwStatusNotReady);
   auto const decoder = sm().lagHwStatusDecoder(lagEncap);
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->hwStatuss(), 1u);
   ASSERT_TRUE(decoder->hwStatusHas(e));
   EXPECT_EQ(decoder->hwStatus(e), Ulva::hwStatusNotReady);
   EXPECT_THAT(trace.linesAt(7), ElementsAre("WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, "
                                             "100:0x8100, 4095:0x8100) lagId:Port-Channel1"));
}

TEST_F(WexIntfEncapSmPortConfig, LagKindConfigMakesNoDecoder) {
   startRecording();
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   WexIntfEncapHwConfig const lagConfig = plainConfig(lagEncap, "Vlan100", 7);
   ASSERT_TRUE(lagConfig.isLag());

   sm().doAddPortHwConfig(lagConfig);

   EXPECT_THAT(calls(), ElementsAre(added(lagConfig)));
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(lagEncap), Ulva::hwStatusSuccess);
   EXPECT_EQ(sm().lagHwStatusDecoders(), 0u);
}

TEST_F(WexIntfEncapSmPortConfig, FailedAddIsStoredAndKept) {
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");
   buildRecording();
   recording->answers[e] = Ulva::hwStatusFailed;

   sm().handleInitialized();

   EXPECT_EQ(sm().hwConfigColl()->config(e), config);
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e), Ulva::hwStatusFailed);
   EXPECT_TRUE(sm().hwStatusColl()->hwStatusHas(e));
   EXPECT_EQ(sm().getHwConfig(e), config);
}

TEST_F(WexIntfEncapSmPortConfig, DeleteHandsThePlatformTheStoredRecord) {
   startRecording();
   sm().doAddPortHwConfig(config);
   WexIntfEncapHwConfig retried = config;
   retried.retryCntIs(5);
   sm().hwConfigColl()->configIs(retried);
   calls().clear();
   TraceCapture trace;

   sm().doDeletePortHwConfig(e);

   EXPECT_THAT(calls(), ElementsAre(deleted(retried)));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e));
   EXPECT_THAT(trace.linesAt(7), ElementsAre("WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, "
                                             "100:0x8100, 4095:0x8100)"));
}

TEST_F(WexIntfEncapSmPortConfig, DeleteOfUnprogrammedKeyStillWipesItsStatus) {
   startRecording();
   sm().hwStatusColl()->hwStatusIs(e, Ulva::hwStatusSuccess);
   TraceCapture trace;

   sm().doDeletePortHwConfig(e);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e));
}

// ---- the wanted configs --------------------------------------------------------------

class WexIntfEncapSmPortConfigList : public EncapSmTest {};

TEST_F(WexIntfEncapSmPortConfigList, MachineFindsOrMakesOneListPerInterface) {
   buildRecording();
   EXPECT_FALSE(sm().portToHwConfigList(id("Ethernet1")));

   Fen::Ptr<WexPortEncapHwConfigList> const list = sm().portToHwConfigListIs(id("Ethernet1"));

   ASSERT_TRUE(list);
   EXPECT_EQ(list->port(), id("Ethernet1"));
   EXPECT_EQ(list->hwConfigs(), 0u);
   EXPECT_TRUE(list->hasNotificationActive());
   EXPECT_TRUE(list->fwkType() ==
               (Fen::FwkType{&WexVlanMapping::wexIntfEncapSmModule,
                             WexVlanMapping::wexIntfEncapSmTypeWexPortEncapHwConfigList}));
   EXPECT_EQ(sm().portToHwConfigListIs(id("Ethernet1")).ptr(), list.ptr());
   EXPECT_EQ(sm().portToHwConfigList(id("Ethernet1")).ptr(), list.ptr());
   EXPECT_EQ(sm().portToHwConfigListDel(id("Ethernet1")).ptr(), list.ptr());
   EXPECT_FALSE(sm().portToHwConfigListDel(id("Ethernet1")));
}

TEST_F(WexIntfEncapSmPortConfigList, ConfigsAreKeyedByTheirEncap) {
   buildRecording();
   Ulva::IntfEncap const a = encap("Ethernet1", 100);
   Ulva::IntfEncap const b = encap("Ethernet1", 200);
   Fen::Ptr<WexPortEncapHwConfigList> const list = sm().portToHwConfigListIs(id("Ethernet1"));

   list->hwConfigIs(plainConfig(a, "Vlan100", 7));
   list->hwConfigIs(plainConfig(b, "Vlan100", 7));
   // Overwriting replaces the whole record of that key.
   WexIntfEncapHwConfig replacement = plainConfig(a, "Vlan200", 9);
   replacement.sourceIs(WexVlanMapping::macsecProxy);
   replacement.egressEncapIs(b.encap());
   list->hwConfigIs(replacement);

   EXPECT_EQ(list->hwConfigs(), 2u);
   EXPECT_EQ(list->hwConfig(a), replacement);
   EXPECT_EQ(list->hwConfig(b), plainConfig(b, "Vlan100", 7));
   std::vector<Ulva::IntfEncap> keys;
   for (auto it = list->hwConfigMap().begin(); it; it.advance())
      keys.push_back(it.key());
   EXPECT_THAT(keys, UnorderedElementsAre(a, b));

   EXPECT_EQ(list->hwConfigDel(a), replacement);
   EXPECT_EQ(list->hwConfigs(), 1u);
   list->hwConfigDelAll();
   EXPECT_EQ(list->hwConfigs(), 0u);
}

TEST_F(WexIntfEncapSmPortConfigList, AbsentKeyReadsAndDeletesAsDefault) {
   buildRecording();
   Ulva::IntfEncap const a = encap("Ethernet1", 100);
   Fen::Ptr<WexPortEncapHwConfigList> const list = sm().portToHwConfigListIs(id("Ethernet1"));
   list->hwConfigIs(plainConfig(a, "Vlan100", 7));

   EXPECT_EQ(list->hwConfig(encap("Ethernet1", 300)), WexIntfEncapHwConfig());
   EXPECT_EQ(list->hwConfigDel(encap("Ethernet1", 300)), WexIntfEncapHwConfig());
   EXPECT_EQ(list->hwConfigs(), 1u);
   EXPECT_EQ(list->hwConfig(a), plainConfig(a, "Vlan100", 7));
}

TEST_F(WexIntfEncapSmPortConfigList, GetHwConfigLooksUnderTheEncapsOwnInterface) {
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   wantIs(lagEncap, "Vlan100");
   startRecording();
   Ulva::IntfEncap const memberEncap = encap("Ethernet1", 100);
   ASSERT_TRUE(sm().hwConfigColl()->configHas(memberEncap));

   EXPECT_EQ(sm().getHwConfig(lagEncap), plainConfig(lagEncap, "Vlan100", 7));
   // A member's config is programmed, but wanted only under the LAG.
   EXPECT_EQ(sm().getHwConfig(memberEncap), WexIntfEncapHwConfig());
   // No list at all, and a list without the key.
   EXPECT_EQ(sm().getHwConfig(encap("Ethernet5", 100)), WexIntfEncapHwConfig());
   EXPECT_EQ(sm().getHwConfig(encap("Port-Channel1", 999)), WexIntfEncapHwConfig());
}

class WexIntfEncapSmPortConfigListDeathTest : public WexIntfEncapSmPortConfigList {};

TEST_F(WexIntfEncapSmPortConfigListDeathTest, OverwriteUnderAnotherKeyEndsTheProcess) {
   buildRecording();
   Ulva::IntfEncap const a = encap("Ethernet1", 100);
   Ulva::IntfEncap const b = encap("Ethernet1", 200);
   Fen::Ptr<WexPortEncapHwConfigList> const list = sm().portToHwConfigListIs(id("Ethernet1"));
   list->hwConfigIs(plainConfig(a, "Vlan100", 7));

   EXPECT_DEATH(list->hwConfigIs(a, plainConfig(b, "Vlan100", 7)),
                HasSubstr("fwkKey() == KeyFunktor()( _value )"));
}

// ---- the base class's hooks ----------------------------------------------------------

class WexIntfEncapSmBaseHooksDeathTest : public EncapSmTest {
protected:
   Fen::Ptr<WexIntfEncapSm> makeBase() {
      return WexIntfEncapSm::WexIntfEncapSmIs(wcsd, fwd, svcStatus, wanted, published, nullptr);
   }
};

TEST_F(WexIntfEncapSmBaseHooksDeathTest, BaseClassRunsItsFrameUntilTheFirstConfig) {
   fwdInfoIs("Vlan100", 7);
   wantIs(encap("Ethernet2", 200), "Vlan200");  // Vlan200 does not forward: no config
   Fen::Ptr<WexIntfEncapSm> const base = makeBase();

   base->handleInitialized();

   EXPECT_TRUE(base->initialized());
   EXPECT_EQ(base->hwConfigColl()->configs(), 0u);
   EXPECT_EQ(published->hwStatus(encap("Ethernet2", 200)), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmBaseHooksDeathTest, FirstAddEndsTheProcess) {
   fwdInfoIs("Vlan100", 7);
   wantIs(encap("Ethernet1", 100), "Vlan100");
   Fen::Ptr<WexIntfEncapSm> const base = makeBase();

   EXPECT_DEATH(base->handleInitialized(),
                HasSubstr("0 && \"platformAddHwConfig not implemented\""));
}

TEST_F(WexIntfEncapSmBaseHooksDeathTest, FirstDeleteEndsTheProcess) {
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   Fen::Ptr<WexIntfEncapSm> const base = makeBase();
   base->handleInitialized();
   base->hwConfigColl()->configIs(plainConfig(e, "Vlan100", 7));

   EXPECT_DEATH(base->doDeletePortHwConfig(e),
                HasSubstr("0 && \"platformDeleteHwConfig not implemented\""));
}

}  // namespace
}  // namespace TestSupport

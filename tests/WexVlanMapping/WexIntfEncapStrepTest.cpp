// The string form of the system's records and of WexIntfEncapSource: exact
// texts, round trips over random records, and refusal of malformed text with a
// message that names the problem.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "../model/StrepGenerators.h"
#include "Fen/Exception.h"
#include "Fen/Strep.h"
#include "Fen/String.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace {

using StrepGen::checkCases;
using StrepGen::parse;
using testing::HasSubstr;
using WexVlanMapping::WexDynamicIntfEncapInfo;
using WexVlanMapping::WexIntfEncapHwConfig;
using WexVlanMapping::WexIntfEncapSource;

rc::Gen<WexIntfEncapSource> source() {
   return rc::gen::element(WexVlanMapping::staticEncap, WexVlanMapping::macsecProxy);
}

rc::Gen<WexDynamicIntfEncapInfo> dynamicIntfEncapInfo() {
   return rc::gen::exec([] {
      WexDynamicIntfEncapInfo info(*StrepGen::intfEncap());
      info.egressEncapIs(*StrepGen::vlanTagEncap());
      info.sourceIs(*source());
      info.serviceIntfIs(*StrepGen::intfId());
      return info;
   });
}

rc::Gen<WexIntfEncapHwConfig> intfEncapHwConfig() {
   return rc::gen::exec([] {
      Ulva::IntfEncap const intfEncap = *StrepGen::intfEncap();
      // Plain, LAG and LAG member configurations alike.
      Kestin::IntfId const lagId = *rc::gen::weightedOneOf<Kestin::IntfId>({
          {2, rc::gen::just(Kestin::IntfId())},
          {1, rc::gen::just(intfEncap.intfId())},
          {2, StrepGen::intfId()},
      });
      WexIntfEncapHwConfig config(intfEncap, *StrepGen::serviceIntfFwdInfo(), lagId);
      config.egressEncapIs(*StrepGen::vlanTagEncap());
      config.sourceIs(*source());
      config.retryCntIs(*rc::gen::weightedOneOf<std::uint32_t>({
          {1, rc::gen::element<std::uint32_t>(0, 1, 4294967295u)},
          {4, rc::gen::arbitrary<std::uint32_t>()},
      }));
      return config;
   });
}

template <typename T>
std::string refusalOf(std::string const& text) {
   try {
      parse<T>(Fen::String(text));
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "accepted";
}

std::string const defaultTag =
    "Value('Ulva::VlanTag', ** {'vid': 4095, 'tpid': 0x8100, 'tagFlags': 0})";
std::string const defaultEncap = "Value('Ulva::VlanTagEncap', ** {'outerTag': " + defaultTag +
                                 ", 'innerTag': " + defaultTag + "})";
std::string const defaultIntfEncap =
    "Value('Ulva::IntfEncap', ** {'intfId': '', 'encap': " + defaultEncap + "})";
std::string const defaultFwdInfo =
    "Value('Ulva::ServiceIntfFwdInfo', ** {'serviceIntf': '', 'serviceType': "
    "serviceIntfTypeDefault, 'fwdData': 0})";

// The text of a WexDynamicIntfEncapInfo built from the text of each field.
std::string infoText(std::vector<std::string> const& f) {
   return "Value('WexVlanMapping::WexDynamicIntfEncapInfo', ** {'intfEncap': " + f[0] +
          ", 'egressEncap': " + f[1] + ", 'source': " + f[2] + ", 'serviceIntf': " + f[3] + "})";
}

std::string configText(std::vector<std::string> const& f) {
   return "Value('WexVlanMapping::WexIntfEncapHwConfig', ** {'intfEncap': " + f[0] +
          ", 'egressEncap': " + f[1] + ", 'source': " + f[2] + ", 'fwdInfo': " + f[3] +
          ", 'lagId': " + f[4] + ", 'retryCnt': " + f[5] + "})";
}

std::vector<std::string> const defaultInfoFields = {defaultIntfEncap, defaultEncap, "staticEncap",
                                                    "''"};
std::vector<std::string> const defaultConfigFields = {defaultIntfEncap, defaultEncap, "staticEncap",
                                                      defaultFwdInfo,   "''",         "0"};

WexIntfEncapHwConfig lagMemberConfig() {
   Ulva::IntfEncap const intfEncap(Kestin::IntfId("Ethernet3/1"),
                                   Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::vlanTag(200)));
   Ulva::ServiceIntfFwdInfo fwdInfo(Kestin::IntfId("Port-Channel10.100"));
   fwdInfo.serviceTypeIs(Ulva::serviceIntfTypeSubIntf);
   fwdInfo.fwdDataIs(42);
   WexIntfEncapHwConfig config(intfEncap, fwdInfo, Kestin::IntfId("Port-Channel10"));
   config.egressEncapIs(
       Ulva::VlanTagEncap(Ulva::vlanTag(300, Bridging::vlanTpid88a8), Ulva::VlanTag()));
   config.sourceIs(WexVlanMapping::macsecProxy);
   config.retryCntIs(3);
   return config;
}

// ---- WexIntfEncapSource -----------------------------------------------------------

TEST(WexIntfEncapSourceStrep, NamesAndNumbers) {
   using namespace WexVlanMapping;
   EXPECT_EQ(WexIntfEncapSourceInstance(0u), staticEncap);
   EXPECT_EQ(WexIntfEncapSourceInstance(1u), macsecProxy);
   EXPECT_EQ(WexIntfEncapSourceInstance(Fen::String("staticEncap")), staticEncap);
   EXPECT_EQ(WexIntfEncapSourceInstance(Fen::String("macsecProxy")), macsecProxy);
   EXPECT_EQ(valueToStrep(macsecProxy), Fen::String("macsecProxy"));
   EXPECT_EQ(stringValue(staticEncap), Fen::String("staticEncap"));
   std::ostringstream os;
   os << staticEncap << " " << macsecProxy << " " << static_cast<WexIntfEncapSource>(9);
   EXPECT_EQ(os.str(), "staticEncap macsecProxy 9");

   Fen::String const text("macsecProxy, 'serviceIntf'");
   Fen::String::IteratorConst it = text.begin();
   WexIntfEncapSource s = staticEncap;
   sequenceToValue(it, text.end(), &s);
   EXPECT_EQ(s, macsecProxy);
   EXPECT_EQ(Fen::String(it, text.end()), Fen::String(", 'serviceIntf'"));
}

TEST(WexIntfEncapSourceStrep, NoEnumeratorIsRefused) {
   using namespace WexVlanMapping;
   auto message = [](auto&& f) -> std::string {
      try {
         f();
      } catch (Fen::RangeException const& e) {
         return e.what();
      }
      return "accepted";
   };
   EXPECT_EQ(message([] { WexIntfEncapSourceInstance(2u); }),
             "2 is no enumerator of WexVlanMapping::WexIntfEncapSource");
   EXPECT_EQ(message([] { WexIntfEncapSourceInstance(Fen::String("dynamicEncap")); }),
             "\"dynamicEncap\" is no enumerator of WexVlanMapping::WexIntfEncapSource");
   EXPECT_THAT(message([] { WexIntfEncapSourceInstance(Fen::String("1")); }),
               HasSubstr("no enumerator"));
   EXPECT_THAT(message([] { WexIntfEncapSourceInstance(Fen::String("")); }),
               HasSubstr("no enumerator"));
   EXPECT_THAT(refusalOf<WexIntfEncapSource>("macsecProxy1"),
               HasSubstr("expected an enumerator of WexVlanMapping::WexIntfEncapSource but found "
                         "\"macsecProxy1\""));
}

// ---- Exact texts ------------------------------------------------------------------

TEST(WexIntfEncapStrep, DefaultRecordsHaveTheirTextAndRoundTrip) {
   EXPECT_EQ(valueToStrep(WexDynamicIntfEncapInfo()), Fen::String(infoText(defaultInfoFields)));
   EXPECT_EQ(valueToStrep(WexIntfEncapHwConfig()), Fen::String(configText(defaultConfigFields)));
   EXPECT_EQ(parse<WexDynamicIntfEncapInfo>(valueToStrep(WexDynamicIntfEncapInfo())),
             WexDynamicIntfEncapInfo());
   EXPECT_EQ(parse<WexIntfEncapHwConfig>(valueToStrep(WexIntfEncapHwConfig())),
             WexIntfEncapHwConfig());
}

TEST(WexIntfEncapStrep, LagMemberConfigText) {
   WexIntfEncapHwConfig const config = lagMemberConfig();
   std::string const expected =
       "Value('WexVlanMapping::WexIntfEncapHwConfig', ** {'intfEncap': Value('Ulva::IntfEncap', ** "
       "{'intfId': 'Ethernet3/1', 'encap': Value('Ulva::VlanTagEncap', ** {'outerTag': "
       "Value('Ulva::VlanTag', ** {'vid': 100, 'tpid': 0x8100, 'tagFlags': 0}), 'innerTag': "
       "Value('Ulva::VlanTag', ** {'vid': 200, 'tpid': 0x8100, 'tagFlags': 0})})}), "
       "'egressEncap': Value('Ulva::VlanTagEncap', ** {'outerTag': Value('Ulva::VlanTag', ** "
       "{'vid': 300, 'tpid': 0x88a8, 'tagFlags': 0}), 'innerTag': Value('Ulva::VlanTag', ** "
       "{'vid': 4095, 'tpid': 0x8100, 'tagFlags': 0})}), 'source': macsecProxy, 'fwdInfo': "
       "Value('Ulva::ServiceIntfFwdInfo', ** {'serviceIntf': 'Port-Channel10.100', "
       "'serviceType': serviceIntfTypeSubIntf, 'fwdData': 42}), 'lagId': 'Port-Channel10', "
       "'retryCnt': 3})";
   EXPECT_EQ(valueToStrep(config), Fen::String(expected));
   std::ostringstream os;
   os << config;
   EXPECT_EQ(os.str(), expected);
   WexIntfEncapHwConfig back;
   Fen::strepToValue(Fen::String(expected), &back);
   EXPECT_EQ(back, config);
   EXPECT_TRUE(back.isLagMember());
}

TEST(WexIntfEncapStrep, DynamicInfoText) {
   WexDynamicIntfEncapInfo info(Ulva::IntfEncap(Kestin::IntfId("Ethernet5.10")));
   info.sourceIs(WexVlanMapping::macsecProxy);
   info.serviceIntfIs(Kestin::IntfId("Ethernet7.20"));
   std::string const expected = infoText(
       {"Value('Ulva::IntfEncap', ** {'intfId': 'Ethernet5.10', 'encap': " + defaultEncap + "})",
        defaultEncap, "macsecProxy", "'Ethernet7.20'"});
   EXPECT_EQ(valueToStrep(info), Fen::String(expected));
   std::ostringstream os;
   os << info;
   EXPECT_EQ(os.str(), expected);
   EXPECT_EQ(parse<WexDynamicIntfEncapInfo>(Fen::String(expected)), info);
}

TEST(WexIntfEncapStrep, LargestRetryCountPrintsAndParsesBack) {
   WexIntfEncapHwConfig config;
   config.retryCntIs(4294967295u);
   std::string const text = valueToStrep(config).stdString();
   EXPECT_THAT(text, HasSubstr("'retryCnt': 4294967295})"));
   EXPECT_EQ(parse<WexIntfEncapHwConfig>(Fen::String(text)).retryCnt(), 4294967295u);

   std::vector<std::string> fields = defaultConfigFields;
   fields[5] = "4294967296";
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(configText(fields)),
             "attribute 'retryCnt': number 4294967296 out of range (0 to 4294967295)");
   fields[5] = "-1";
   EXPECT_THAT(refusalOf<WexIntfEncapHwConfig>(configText(fields)),
               HasSubstr("attribute 'retryCnt': expected a number"));
}

TEST(WexIntfEncapStrep, Vid4098IsRefused) {
   std::string const badTag =
       "Value('Ulva::VlanTag', ** {'vid': 4098, 'tpid': 0x8100, 'tagFlags': 0})";
   std::string const badEncap = "Value('Ulva::VlanTagEncap', ** {'outerTag': " + badTag +
                                ", 'innerTag': " + defaultTag + "})";
   std::vector<std::string> fields = defaultConfigFields;
   fields[1] = badEncap;
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(configText(fields)),
             "attribute 'egressEncap': attribute 'outerTag': attribute 'vid': Ulva::VlanTag::vid "
             "< 0 or > 4097 not allowed");
   std::vector<std::string> infoFields = defaultInfoFields;
   infoFields[0] =
       "Value('Ulva::IntfEncap', ** {'intfId': 'Ethernet1', 'encap': " + badEncap + "})";
   EXPECT_EQ(refusalOf<WexDynamicIntfEncapInfo>(infoText(infoFields)),
             "attribute 'intfEncap': attribute 'encap': attribute 'outerTag': attribute 'vid': "
             "Ulva::VlanTag::vid < 0 or > 4097 not allowed");
}

// Each field, given a text that does not parse as its type, is named.
TEST(WexIntfEncapStrep, ABadFieldIsNamedInTheMessage) {
   std::vector<std::string> const infoNames = {"intfEncap", "egressEncap", "source", "serviceIntf"};
   std::vector<std::string> const infoBad = {"'Ethernet1'", defaultIntfEncap, "dynamicEncap",
                                             "'Ethernet0'"};
   for (std::size_t i = 0; i < infoNames.size(); ++i) {
      std::vector<std::string> fields = defaultInfoFields;
      fields[i] = infoBad[i];
      EXPECT_THAT(refusalOf<WexDynamicIntfEncapInfo>(infoText(fields)),
                  HasSubstr("attribute '" + infoNames[i] + "': "))
          << infoNames[i];
   }
   std::vector<std::string> const configNames = {"intfEncap", "egressEncap", "source",
                                                 "fwdInfo",   "lagId",       "retryCnt"};
   std::vector<std::string> const configBad = {defaultEncap,      "''", "1", defaultIntfEncap,
                                               "'Port-Channel0'", "12x"};
   for (std::size_t i = 0; i < configNames.size(); ++i) {
      std::vector<std::string> fields = defaultConfigFields;
      fields[i] = configBad[i];
      EXPECT_THAT(refusalOf<WexIntfEncapHwConfig>(configText(fields)),
                  HasSubstr("attribute '" + configNames[i] + "': "))
          << configNames[i];
   }
}

TEST(WexIntfEncapStrep, RefusalsSayWhatWasWrong) {
   std::string const good = configText(defaultConfigFields);
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(infoText(defaultInfoFields)),
             "expected \"Value('WexVlanMapping::WexIntfEncapHwConfig', ** {\" but found "
             "\"Value('WexVlanMapping::WexDynamicIntfEncapInfo', *...\"");
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(good + "x"),
             "text left over after the value: \"x\" and the end of the text");
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(good.substr(0, good.size() - 1)),
             "expected \"})\" but found \"}\" and the end of the text");
   // No tolerance for spacing, anywhere.
   std::string spaced = good;
   spaced.insert(spaced.find("'lagId'"), " ");
   EXPECT_EQ(refusalOf<WexIntfEncapHwConfig>(spaced),
             "expected \", 'lagId': \" but found \",  'lagId':...\"");
   EXPECT_THROW(parse<WexIntfEncapHwConfig>(Fen::String(" " + good)), Fen::RangeException);
}

TEST(WexIntfEncapStrep, StrepToValueLeavesTheTargetAloneOnARefusal) {
   WexIntfEncapHwConfig config = lagMemberConfig();
   EXPECT_THROW(Fen::strepToValue(Fen::String(configText(defaultConfigFields) + " "), &config),
                Fen::RangeException);
   EXPECT_EQ(config, lagMemberConfig());
}

// ---- Properties over random records --------------------------------------------------

TEST(WexIntfEncapStrep, DynamicInfoRoundTrips) {
   checkCases(1000, [] {
      WexDynamicIntfEncapInfo const info = *dynamicIntfEncapInfo();
      StrepGen::checkRoundTrip(info);
      std::ostringstream os;
      os << info;
      RC_ASSERT(os.str() == valueToStrep(info).stdString());
   });
}

TEST(WexIntfEncapStrep, HwConfigRoundTrips) {
   checkCases(1000, [] {
      WexIntfEncapHwConfig const config = *intfEncapHwConfig();
      StrepGen::checkRoundTrip(config);
      WexIntfEncapHwConfig const back = parse<WexIntfEncapHwConfig>(valueToStrep(config));
      RC_ASSERT(back.hash(0) == config.hash(0));
      RC_ASSERT(back.isLag() == config.isLag());
      RC_ASSERT(back.isLagMember() == config.isLagMember());
      std::ostringstream os;
      os << config;
      RC_ASSERT(os.str() == valueToStrep(config).stdString());
   });
}

TEST(WexIntfEncapStrep, CutTextIsRefused) {
   checkCases(150, [] {
      StrepGen::checkCutTextRefused(*dynamicIntfEncapInfo());
      StrepGen::checkCutTextRefused(*intfEncapHwConfig());
   });
}

TEST(WexIntfEncapStrep, ChangedCharacterIsRefusedOrCanonical) {
   checkCases(2000, [] {
      StrepGen::checkChangedCharacter(*dynamicIntfEncapInfo());
      StrepGen::checkChangedCharacter(*intfEncapHwConfig());
   });
}

TEST(WexIntfEncapStrep, AppendedTextIsRefused) {
   checkCases(500, [] {
      StrepGen::checkAppendedTextRefused(*dynamicIntfEncapInfo());
      StrepGen::checkAppendedTextRefused(*intfEncapHwConfig());
   });
}

}  // namespace

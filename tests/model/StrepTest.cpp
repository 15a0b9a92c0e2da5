// The string form of the model's values: the runtime's parsing helpers, the
// exact texts, round trips over random values and refusal of malformed text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <sstream>
#include <string>

#include "Fen/Exception.h"
#include "Fen/Strep.h"
#include "Fen/String.h"
#include "Kestin/IntfId.h"
#include "StrepGenerators.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"

namespace {

using StrepGen::checkCases;
using StrepGen::parse;
using testing::HasSubstr;

// The message of the refusal of `text` as a T, or "accepted" when it parses.
template <typename T>
std::string refusalOf(std::string const& text) {
   try {
      parse<T>(Fen::String(text));
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "accepted";
}

std::string tagText(std::string const& vid, std::string const& tpid = "0x8100",
                    std::string const& flags = "0") {
   return "Value('Ulva::VlanTag', ** {'vid': " + vid + ", 'tpid': " + tpid +
          ", 'tagFlags': " + flags + "})";
}

std::string encapText(std::string const& outer, std::string const& inner) {
   return "Value('Ulva::VlanTagEncap', ** {'outerTag': " + outer + ", 'innerTag': " + inner + "})";
}

std::string intfEncapText(std::string const& intfId, std::string const& encap) {
   return "Value('Ulva::IntfEncap', ** {'intfId': " + intfId + ", 'encap': " + encap + "})";
}

std::string fwdInfoText(std::string const& intf, std::string const& type, std::string const& data) {
   return "Value('Ulva::ServiceIntfFwdInfo', ** {'serviceIntf': " + intf +
          ", 'serviceType': " + type + ", 'fwdData': " + data + "})";
}

Ulva::IntfEncap ethernet31Vid100() {
   return Ulva::IntfEncap(Kestin::IntfId("Ethernet3/1"),
                          Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
}

// ---- The runtime's helpers ------------------------------------------------------

TEST(FenStrep, NeedStringConsumesExactlyTheLiteral) {
   Fen::String const text("'vid': 100");
   Fen::String::IteratorConst it = text.begin();
   Fen::needString(it, text.end(), "'vid': ");
   EXPECT_EQ(Fen::String(it, text.end()), Fen::String("100"));
}

TEST(FenStrep, NeedStringRefusalSaysWhatWasExpectedAndFound) {
   Fen::String const text("'vId': 100, 'tpid': 0x8100");
   Fen::String::IteratorConst it = text.begin();
   try {
      Fen::needString(it, text.end(), "'vid': ");
      FAIL() << "accepted";
   } catch (Fen::RangeException const& e) {
      EXPECT_EQ(std::string(e.what()), "expected \"'vid': \" but found \"'vId': ...\"");
   }
   EXPECT_TRUE(it == text.begin()) << "the iterator moved on a refusal";
}

TEST(FenStrep, NeedStringAtTheEndOfTheText) {
   Fen::String const text("'vi");
   Fen::String::IteratorConst it = text.begin();
   EXPECT_THROW(
       {
          try {
             Fen::needString(it, text.end(), "'vid': ");
          } catch (Fen::RangeException const& e) {
             EXPECT_EQ(std::string(e.what()),
                       "expected \"'vid': \" but found \"'vi\" and the end of the text");
             throw;
          }
       },
       Fen::RangeException);
   Fen::String const empty;
   Fen::String::IteratorConst at = empty.begin();
   EXPECT_THROW(
       {
          try {
             Fen::needString(at, empty.end(), "})");
          } catch (Fen::RangeException const& e) {
             EXPECT_EQ(std::string(e.what()), "expected \"})\" but found the end of the text");
             throw;
          }
       },
       Fen::RangeException);
}

TEST(FenStrep, DeserializeAttrNamesTheField) {
   Fen::String const text("7x, 'next'");
   Fen::String::IteratorConst it = text.begin();
   try {
      Fen::deserializeAttr<std::uint16_t>(it, text.end(), "fwdData");
      FAIL() << "accepted";
   } catch (Fen::RangeException const& e) {
      EXPECT_EQ(std::string(e.what()), "attribute 'fwdData': expected a number but found \"7x\"");
   }
   Fen::String const good("65535})");
   Fen::String::IteratorConst at = good.begin();
   EXPECT_EQ(Fen::deserializeAttr<std::uint16_t>(at, good.end(), "fwdData"), 65535u);
   EXPECT_EQ(Fen::String(at, good.end()), Fen::String("})"));
}

TEST(FenStrep, RethrowFromDeserializeAttrKeepsTheCause) {
   try {
      Fen::rethrowFromDeserializeAttr(Fen::RangeException("the cause"), "lagId");
   } catch (Fen::RangeException const& e) {
      EXPECT_EQ(std::string(e.what()), "attribute 'lagId': the cause");
   }
}

TEST(FenStrep, NumbersAreDecimalWithoutSignOrLeadingZero) {
   EXPECT_EQ(parse<std::uint32_t>("0"), 0u);
   EXPECT_EQ(parse<std::uint32_t>("4294967295"), 4294967295u);
   EXPECT_EQ(parse<std::uint8_t>("255"), 255u);
   EXPECT_THAT(refusalOf<std::uint8_t>("256"), HasSubstr("number 256 "
                                                         "out of range (0 to 255)"));
   EXPECT_THAT(refusalOf<std::uint32_t>("4294967296"), HasSubstr("out of range (0 to 4294967295)"));
   EXPECT_THAT(refusalOf<std::uint32_t>("99999999999999999999999999"), HasSubstr("out of range"));
   EXPECT_THAT(refusalOf<std::uint32_t>("007"), HasSubstr("number with a leading zero: 007"));
   EXPECT_THAT(refusalOf<std::uint32_t>("-1"), HasSubstr("expected a number but found \"-1\""));
   EXPECT_THAT(refusalOf<std::uint32_t>("+1"), HasSubstr("expected a number"));
   EXPECT_THAT(refusalOf<std::uint32_t>("12ab"), HasSubstr("expected a number but found \"12ab\""));
   EXPECT_THAT(refusalOf<std::uint32_t>(""),
               HasSubstr("expected a number but found the end of the text"));
   EXPECT_THAT(refusalOf<std::uint32_t>("1 "), HasSubstr("text left over after the value: \" \""));
}

TEST(FenStrep, StrepToValueRefusesTextLeftOverAndLeavesTheTargetAlone) {
   std::uint32_t value = 7;
   EXPECT_THROW(Fen::strepToValue(Fen::String("12})"), &value), Fen::RangeException);
   EXPECT_EQ(value, 7u);
   Fen::strepToValue(Fen::String("12"), &value);
   EXPECT_EQ(value, 12u);
   Fen::String const text("12})");
   EXPECT_NO_THROW(Fen::strepToValueEnd(text, text.end()));
   EXPECT_THAT(refusalOf<std::uint32_t>("12})"),
               HasSubstr("text left over after the value: \"})\" and the end of the text"));
}

TEST(FenStrep, MessagesQuoteUnprintableCharactersEscaped) {
   std::string const text("'v\x01\"\\", 5);
   std::string const message = refusalOf<Kestin::IntfId>(text + std::string(1, '\0'));
   EXPECT_THAT(message, HasSubstr("'v\\x01\\\"\\\\\\x00\" and the end of the text"));
   for (char c : message) {
      EXPECT_TRUE(c >= 0x20 && c <= 0x7e) << "unprintable byte in: " << message;
   }
}

enum Colour : unsigned char { red = 0, green = 1, blue = 5 };
constexpr Fen::EnumType<unsigned char>::Enumerator colourNames[] = {
    {red, "red"}, {green, "green"}, {blue, "blue"}};
constinit Fen::EnumType<unsigned char> const colourType("Test::Colour", colourNames);
constinit Fen::EnumType<unsigned char> const openColourType(
    "Test::OpenColour", colourNames, Fen::EnumType<unsigned char>::anyNumber);

TEST(FenStrep, EnumTypeTellsNamesAndNumbersOfAClosedEnumeration) {
   EXPECT_STREQ(colourType.typeName(), "Test::Colour");
   EXPECT_EQ(colourType.instance(5u), blue);
   EXPECT_EQ(colourType.instance(Fen::String("green")), green);
   EXPECT_EQ(colourType.valueToStrep(blue), Fen::String("blue"));
   EXPECT_EQ(colourType.stringValue(red), Fen::String("red"));
   EXPECT_EQ(colourType.stringValue(7), Fen::String("7"));
   EXPECT_EQ(colourType.name(7), nullptr);
   std::ostringstream os;
   colourType.operatorLessLess(os, green);
   colourType.operatorLessLess(os, 9);
   EXPECT_EQ(os.str(), "green9");

   auto refusal = [](auto&& f) -> std::string {
      try {
         f();
      } catch (Fen::RangeException const& e) {
         return e.what();
      }
      return "accepted";
   };
   EXPECT_EQ(refusal([] { colourType.instance(2u); }), "2 is no enumerator of Test::Colour");
   EXPECT_EQ(refusal([] { colourType.instance(256u); }), "256 is no enumerator of Test::Colour");
   EXPECT_EQ(refusal([] { colourType.instance(Fen::String("purple")); }),
             "\"purple\" is no enumerator of Test::Colour");
   EXPECT_THAT(refusal([] { colourType.instance(Fen::String("green ")); }),
               HasSubstr("no enumerator of Test::Colour"));
   EXPECT_THAT(refusal([] { colourType.instance(Fen::String("1")); }),
               HasSubstr("no enumerator of Test::Colour"));

   // The parser takes a whole word: a name that runs on is no name.
   Fen::String const text("blue, 'x'");
   Fen::String::IteratorConst it = text.begin();
   unsigned char value = 0;
   colourType.sequenceToValue(it, text.end(), &value);
   EXPECT_EQ(value, blue);
   EXPECT_EQ(Fen::String(it, text.end()), Fen::String(", 'x'"));
   Fen::String const longer("bluer, 'x'");
   it = longer.begin();
   EXPECT_EQ(refusal([&] { colourType.sequenceToValue(it, longer.end(), &value); }),
             "expected an enumerator of Test::Colour but found \"bluer\"");
   EXPECT_TRUE(it == longer.begin());
}

TEST(FenStrep, EnumTypeOfAnyNumberWritesUnnamedValuesInDecimal) {
   EXPECT_EQ(openColourType.instance(7u), 7);
   EXPECT_EQ(openColourType.instance(Fen::String("7")), 7);
   EXPECT_EQ(openColourType.instance(Fen::String("blue")), blue);
   EXPECT_THROW(openColourType.instance(256u), Fen::RangeException);
   // A number that has a name is written by its name only.
   EXPECT_THROW(openColourType.instance(Fen::String("5")), Fen::RangeException);
   EXPECT_THROW(openColourType.instance(Fen::String("07")), Fen::RangeException);
   for (unsigned v = 0; v < 256; ++v) {
      unsigned char const value = static_cast<unsigned char>(v);
      EXPECT_EQ(openColourType.instance(openColourType.stringValue(value)), value) << v;
   }
}

// ---- The exact texts --------------------------------------------------------------

TEST(ModelStrep, InterfaceNamesAreQuoted) {
   EXPECT_EQ(Kestin::valueToStrep(Kestin::IntfId("Ethernet3/1")), Fen::String("'Ethernet3/1'"));
   EXPECT_EQ(Kestin::valueToStrep(Kestin::IntfId("Port-Channel10.7")),
             Fen::String("'Port-Channel10.7'"));
   EXPECT_EQ(Kestin::valueToStrep(Kestin::IntfId()), Fen::String("''"));
   EXPECT_EQ(parse<Kestin::IntfId>("''"), Kestin::IntfId());
   EXPECT_EQ(parse<Kestin::IntfId>("'Vlan4094'"), Kestin::IntfId("Vlan4094"));
}

TEST(ModelStrep, BadInterfaceNamesAreRefused) {
   EXPECT_THAT(refusalOf<Kestin::IntfId>("Ethernet1"),
               HasSubstr("expected \"'\" but found \"E...\""));
   EXPECT_THAT(refusalOf<Kestin::IntfId>("'Ethernet1"),
               HasSubstr("interface name without its closing quote before the end of the text"));
   EXPECT_THAT(refusalOf<Kestin::IntfId>("'Ethernet01'"),
               HasSubstr("invalid interface name 'Ethernet01'"));
   EXPECT_THAT(refusalOf<Kestin::IntfId>("'Vlan4095'"), HasSubstr("'Vlan4095'"));
   EXPECT_THAT(refusalOf<Kestin::IntfId>("'Ethernet 1'"),
               HasSubstr("invalid interface name \"Ethernet 1\""));
   EXPECT_THAT(refusalOf<Kestin::IntfId>("'Ethernet1''"), HasSubstr("text left over"));
}

TEST(ModelStrep, TpidIsFourLowerCaseHexDigits) {
   EXPECT_EQ(Bridging::valueToStrep(Bridging::vlanTpid8100), Fen::String("0x8100"));
   EXPECT_EQ(Bridging::valueToStrep(Bridging::vlanTpid88a8), Fen::String("0x88a8"));
   EXPECT_EQ(Bridging::valueToStrep(static_cast<Bridging::VlanTpid>(0)), Fen::String("0x0000"));
   EXPECT_EQ(parse<Bridging::VlanTpid>("0x9200"), Bridging::vlanTpid9200);
   EXPECT_EQ(parse<Bridging::VlanTpid>("0xffff"), static_cast<Bridging::VlanTpid>(0xFFFF));
   for (char const* bad : {"0X8100", "0x81", "0x810000", "0x88A8", "33024", "8100", "0x", ""}) {
      EXPECT_THAT(refusalOf<Bridging::VlanTpid>(bad), HasSubstr("expected a tpid")) << bad;
   }
}

TEST(ModelStrep, VlanTagAndEncapForms) {
   Ulva::VlanTag tag = Ulva::vlanTag(100, Bridging::vlanTpid88a8);
   tag.tagFlagsIs(3);
   EXPECT_EQ(Ulva::valueToStrep(tag),
             Fen::String("Value('Ulva::VlanTag', ** {'vid': 100, 'tpid': 0x88a8, 'tagFlags': 3})"));
   EXPECT_EQ(Ulva::valueToStrep(Ulva::VlanTag()), Fen::String(tagText("4095")));
   EXPECT_EQ(Ulva::valueToStrep(Ulva::VlanTagEncap(Ulva::vlanTag(10), Ulva::vlanTag(20))),
             Fen::String(encapText(tagText("10"), tagText("20"))));
}

TEST(ModelStrep, IntfEncapForm) {
   EXPECT_EQ(Ulva::valueToStrep(ethernet31Vid100()),
             Fen::String("Value('Ulva::IntfEncap', ** {'intfId': 'Ethernet3/1', 'encap': "
                         "Value('Ulva::VlanTagEncap', ** {'outerTag': Value('Ulva::VlanTag', ** "
                         "{'vid': 100, 'tpid': 0x8100, 'tagFlags': 0}), 'innerTag': "
                         "Value('Ulva::VlanTag', ** {'vid': 4095, 'tpid': 0x8100, 'tagFlags': "
                         "0})})})"));
}

TEST(ModelStrep, ServiceTypesAndFwdInfoForms) {
   EXPECT_EQ(Ulva::valueToStrep(Ulva::serviceIntfTypeSubIntf),
             Fen::String("serviceIntfTypeSubIntf"));
   EXPECT_EQ(Ulva::valueToStrep(static_cast<Ulva::ServiceIntfType>(200)), Fen::String("200"));
   EXPECT_EQ(parse<Ulva::ServiceIntfType>("200"), static_cast<Ulva::ServiceIntfType>(200));
   EXPECT_THAT(refusalOf<Ulva::ServiceIntfType>("2"),
               HasSubstr("expected an enumerator of Ulva::ServiceIntfType"));

   Ulva::ServiceIntfFwdInfo info(Kestin::IntfId("Ethernet3/1.100"));
   info.serviceTypeIs(Ulva::serviceIntfTypeSubIntf);
   info.fwdDataIs(7);
   EXPECT_EQ(Ulva::valueToStrep(info),
             Fen::String(fwdInfoText("'Ethernet3/1.100'", "serviceIntfTypeSubIntf", "7")));
}

TEST(ModelStrep, HwStatusNames) {
   EXPECT_EQ(Ulva::valueToStrep(Ulva::hwStatusNotReady), Fen::String("hwStatusNotReady"));
   EXPECT_EQ(parse<Ulva::IntfEncapHwStatus>("hwStatusSuccess"), Ulva::hwStatusSuccess);
   EXPECT_EQ(parse<Ulva::IntfEncapHwStatus>("hwStatusFailed"), Ulva::hwStatusFailed);
   EXPECT_THAT(refusalOf<Ulva::IntfEncapHwStatus>("2"),
               HasSubstr("expected an enumerator of Ulva::IntfEncapHwStatus but found \"2\""));
   EXPECT_THAT(refusalOf<Ulva::IntfEncapHwStatus>("hwStatusUnknown"),
               HasSubstr("\"hwStatusUnknown\""));
}

TEST(ModelStrep, ReadableOutputIsUnchanged) {
   std::ostringstream os;
   os << ethernet31Vid100();
   EXPECT_EQ(os.str(), "(Ethernet3/1, 100:0x8100, 4095:0x8100)");
   std::ostringstream status;
   status << Ulva::hwStatusSuccess << " " << static_cast<Ulva::IntfEncapHwStatus>(7);
   EXPECT_EQ(status.str(), "hwStatusSuccess IntfEncapHwStatus(7)");
   EXPECT_STREQ(Ulva::hwStatusName(Ulva::hwStatusNotReady), "hwStatusNotReady");
   EXPECT_EQ(Ulva::hwStatusName(static_cast<Ulva::IntfEncapHwStatus>(3)), nullptr);
   std::ostringstream type;
   type << Ulva::serviceIntfTypeSubIntf;
   EXPECT_EQ(type.str(), "2");
}

TEST(ModelStrep, DefaultRecordsRoundTrip) {
   EXPECT_EQ(parse<Ulva::VlanTag>(Ulva::valueToStrep(Ulva::VlanTag())), Ulva::VlanTag());
   EXPECT_EQ(parse<Ulva::VlanTagEncap>(Ulva::valueToStrep(Ulva::VlanTagEncap())),
             Ulva::VlanTagEncap());
   EXPECT_EQ(parse<Ulva::IntfEncap>(Ulva::valueToStrep(Ulva::IntfEncap())), Ulva::IntfEncap());
   EXPECT_EQ(parse<Ulva::ServiceIntfFwdInfo>(Ulva::valueToStrep(Ulva::ServiceIntfFwdInfo())),
             Ulva::ServiceIntfFwdInfo());
   EXPECT_EQ(Ulva::valueToStrep(Ulva::ServiceIntfFwdInfo()),
             Fen::String(fwdInfoText("''", "serviceIntfTypeDefault", "0")));
}

// ---- vid range --------------------------------------------------------------------

TEST(ModelStrep, VidAbove4097IsRefusedWithTheVlanTagMessage) {
   EXPECT_EQ(parse<Ulva::VlanTag>(tagText("4097")).vid(), 4097u);
   EXPECT_EQ(parse<Ulva::VlanTag>(tagText("4096")).vid(), 4096u);
   EXPECT_EQ(parse<Ulva::VlanTag>(tagText("0")).vid(), 0u);
   for (char const* vid : {"4098", "65535", "65536", "4294967296", "99999999999999999999999999"}) {
      EXPECT_EQ(refusalOf<Ulva::VlanTag>(tagText(vid)),
                "attribute 'vid': Ulva::VlanTag::vid < 0 or > 4097 not allowed")
          << vid;
   }
   EXPECT_EQ(refusalOf<Ulva::IntfEncap>(
                 intfEncapText("'Ethernet1'", encapText(tagText("10"), tagText("4098")))),
             "attribute 'encap': attribute 'innerTag': attribute 'vid': Ulva::VlanTag::vid < 0 or "
             "> 4097 not allowed");
}

// ---- Bad fields are named ---------------------------------------------------------

TEST(ModelStrep, ABadFieldIsNamedInTheMessage) {
   std::string const tag = tagText("10");
   std::string const encap = encapText(tag, tag);
   EXPECT_THAT(refusalOf<Ulva::VlanTag>(tagText("1", "0x81")),
               HasSubstr("attribute 'tpid': expected a tpid"));
   EXPECT_THAT(refusalOf<Ulva::VlanTag>(tagText("1", "0x8100", "256")),
               HasSubstr("attribute 'tagFlags': number 256 out of range (0 to 255)"));
   EXPECT_THAT(refusalOf<Ulva::VlanTagEncap>(encapText("x", tag)),
               HasSubstr("attribute 'outerTag': expected \"Value('Ulva::VlanTag', ** {\""));
   EXPECT_THAT(refusalOf<Ulva::VlanTagEncap>(encapText(tag, tagText("x"))),
               HasSubstr("attribute 'innerTag': attribute 'vid': expected a number"));
   EXPECT_THAT(refusalOf<Ulva::IntfEncap>(intfEncapText("'Bogus1'", encap)),
               HasSubstr("attribute 'intfId': invalid interface name 'Bogus1'"));
   EXPECT_THAT(refusalOf<Ulva::IntfEncap>(intfEncapText("''", "''")),
               HasSubstr("attribute 'encap'"));
   EXPECT_THAT(refusalOf<Ulva::ServiceIntfFwdInfo>(fwdInfoText("'Ethernet1x'", "4", "0")),
               HasSubstr("attribute 'serviceIntf': invalid interface name"));
   EXPECT_THAT(refusalOf<Ulva::ServiceIntfFwdInfo>(fwdInfoText("''", "serviceIntfTypeBogus", "0")),
               HasSubstr("attribute 'serviceType': expected an enumerator of "
                         "Ulva::ServiceIntfType but found \"serviceIntfTypeBogus\""));
   EXPECT_THAT(refusalOf<Ulva::ServiceIntfFwdInfo>(fwdInfoText("''", "4", "65536")),
               HasSubstr("attribute 'fwdData': number 65536 out of range (0 to 65535)"));
}

TEST(ModelStrep, NoToleranceForSpacing) {
   std::string const tag = tagText("10");
   for (std::string const& text :
        {std::string("Value('Ulva::VlanTag', ** {'vid':  10, 'tpid': 0x8100, 'tagFlags': 0})"),
         std::string("Value('Ulva::VlanTag', ** {'vid': 10 , 'tpid': 0x8100, 'tagFlags': 0})"),
         std::string("Value('Ulva::VlanTag',** {'vid': 10, 'tpid': 0x8100, 'tagFlags': 0})"),
         std::string("Value('Ulva::VlanTag', ** {'vid': 10, 'tpid': 0x8100, 'tagFlags': 0} )"),
         std::string(" ") + tag, tag + " ", tag + "\n"}) {
      EXPECT_THROW(parse<Ulva::VlanTag>(Fen::String(text)), Fen::RangeException) << text;
   }
}

// ---- Properties over random values ---------------------------------------------------

TEST(ModelStrep, GeneratedInterfaceNamesAreTheirOwnText) {
   checkCases(1000, [] {
      std::string const name = *StrepGen::intfName();
      RC_ASSERT(Kestin::IntfId(name.c_str()).stringValue() == Fen::String(name));
   });
}

TEST(ModelStrep, IntfIdRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::intfId()); });
}

TEST(ModelStrep, TpidRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::tpid()); });
}

TEST(ModelStrep, VlanTagRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::vlanTag()); });
}

TEST(ModelStrep, VlanTagEncapRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::vlanTagEncap()); });
}

TEST(ModelStrep, IntfEncapRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::intfEncap()); });
}

TEST(ModelStrep, ServiceIntfTypeRoundTrips) {
   for (unsigned v = 0; v < 256; ++v) {
      auto const t = static_cast<Ulva::ServiceIntfType>(v);
      EXPECT_EQ(parse<Ulva::ServiceIntfType>(Ulva::valueToStrep(t)), t) << v;
   }
}

TEST(ModelStrep, ServiceIntfFwdInfoRoundTrips) {
   checkCases(1000, [] { StrepGen::checkRoundTrip(*StrepGen::serviceIntfFwdInfo()); });
}

TEST(ModelStrep, HwStatusRoundTrips) {
   checkCases(100, [] { StrepGen::checkRoundTrip(*StrepGen::hwStatus()); });
}

TEST(ModelStrep, CutTextIsRefused) {
   checkCases(200, [] {
      StrepGen::checkCutTextRefused(*StrepGen::intfId());
      StrepGen::checkCutTextRefused(*StrepGen::vlanTag());
      StrepGen::checkCutTextRefused(*StrepGen::intfEncap());
      StrepGen::checkCutTextRefused(*StrepGen::serviceIntfFwdInfo());
   });
}

TEST(ModelStrep, ChangedCharacterIsRefusedOrCanonical) {
   checkCases(1000, [] {
      StrepGen::checkChangedCharacter(*StrepGen::intfId());
      StrepGen::checkChangedCharacter(*StrepGen::vlanTag());
      StrepGen::checkChangedCharacter(*StrepGen::vlanTagEncap());
      StrepGen::checkChangedCharacter(*StrepGen::intfEncap());
      StrepGen::checkChangedCharacter(*StrepGen::serviceIntfFwdInfo());
   });
}

TEST(ModelStrep, AppendedTextIsRefused) {
   checkCases(500, [] {
      StrepGen::checkAppendedTextRefused(*StrepGen::vlanTag());
      StrepGen::checkAppendedTextRefused(*StrepGen::vlanTagEncap());
      StrepGen::checkAppendedTextRefused(*StrepGen::intfEncap());
      StrepGen::checkAppendedTextRefused(*StrepGen::serviceIntfFwdInfo());
   });
}

}  // namespace

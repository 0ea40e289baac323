#include <gtest/gtest.h>

#include <bit>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <limits>
#include <random>

#include "Json.h"

namespace zul {
namespace {

TEST(Json, NumbersComeBackAsTheKindTheyWere) {
  const boost::json::object numbers{{"long", std::numeric_limits<std::int64_t>::min()},
                                    {"zero", 0},
                                    {"whole", 2.0},
                                    {"large", 1706695200000.0},
                                    {"tiny", 1e-300},
                                    {"fraction", 1706695200.1234567},
                                    {"flag", true}};
  const auto text = json::text(numbers);
  EXPECT_EQ(json::parseObject(text), numbers) << text;
  EXPECT_NE(text.find("\"whole\":2.0"), std::string::npos) << text;
}

TEST(Json, EveryDoubleComesBackToTheLastBit) {
  std::mt19937_64 bits(1);
  for (int n = 0; n < 20'000; ++n) {
    const auto value = std::bit_cast<double>(bits());
    if (!std::isfinite(value)) continue;
    EXPECT_EQ(json::parse(json::text(boost::json::value(value)))->get_double(), value);
  }
  EXPECT_EQ(json::parse("1e400")->get_double(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(json::parse(" [-1.7976931348623157E+308, 0.1000000000000000055511151231257827 ] ")->as_array(),
            (boost::json::array{std::numeric_limits<double>::lowest(), 0.1}));
}

TEST(Json, WhatJsonCannotSayBecomesNull) {
  EXPECT_EQ(json::text(boost::json::array{std::numeric_limits<double>::infinity(), std::nan("")}), "[null,null]");
}

TEST(Json, TextsSurviveWhateverTheyContain) {
  std::string text;
  for (int c = 0; c < 256; ++c) text += static_cast<char>(c < 0x80 ? c : 'x');
  text += "\xED\x95\x9C\xEA\xB5\xAD";
  const boost::json::object object{{text, text}};
  EXPECT_EQ(json::parseObject(json::text(object)), object);
}

// Text from a host may be anything; what is written must be readable at the next start.
TEST(Json, BytesThatAreNoTextAreReplaced) {
  const boost::json::object object{{"a\xFF", "x\xC3(\xED\xA0\x80\xF0\x9F\x91\x89\xE2\x82"}};
  EXPECT_EQ(json::text(object), "{\"a\uFFFD\":\"x\uFFFD(\uFFFD\uFFFD\uFFFD\U0001F449\uFFFD\uFFFD\"}");
  EXPECT_TRUE(json::parse(json::text(object)));
}

TEST(Json, HostileTextIsNone) {
  for (const std::string text : {"", "{", "[1,]", "{\"a\":1}x", "nul", "\"\xff\"", "{\"a\":\"\\ud800\"}"}) {
    EXPECT_FALSE(json::parse(text)) << text;
  }
  EXPECT_FALSE(json::parse(std::string(100000, '[')));
  EXPECT_FALSE(json::parseObject("[1]"));
}

TEST(Json, PrettyTextMeansTheSame) {
  const std::string compact =
      R"({"a":{"b":[1,2.5,{"c":"x,y:{z}\"[\\"}],"empty":[],"none":{}},"d":null,"e":true,"f":"\\"})";
  std::string pretty;
  json::appendPretty(pretty, compact, 0);
  EXPECT_EQ(json::parse(pretty), json::parse(compact));
  std::string again;
  json::appendCompact(again, pretty);
  EXPECT_EQ(again, compact);
  EXPECT_NE(pretty.find("\n  \"a\" : {\n    \"b\" : [\n      1,"), std::string::npos) << pretty;
  EXPECT_NE(pretty.find("\"empty\" : [],"), std::string::npos) << pretty;
}

TEST(Json, ReadsGiveTheEmptyValueForTheWrongKind) {
  const auto object = *json::parseObject(R"({"text":"7","big":18446744073709551615,"half":-2.9,"huge":1e300})");
  EXPECT_EQ(json::integer(object, "text"), 0);
  EXPECT_EQ(json::string(object, "half"), std::nullopt);
  EXPECT_EQ(json::integer(object, "half"), -2);
  EXPECT_EQ(json::integer(object, "big"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(json::integer(object, "huge"), std::numeric_limits<std::int64_t>::max());
  EXPECT_FALSE(json::boolean(object, "absent"));
}

TEST(Dictionary, IsAValueOfItsOwn) {
  Dictionary inner;
  inner.set("n", 1);
  Dictionary outer;
  outer.set("inner", inner);
  inner.set("n", 2);
  EXPECT_EQ(outer.dictionary("inner").integer("n"), 1);

  Dictionary copy = outer;
  copy.remove("inner");
  copy.set("list", std::vector<Dictionary>{inner, Dictionary()});
  EXPECT_TRUE(outer.contains("inner"));
  EXPECT_EQ(copy.dictionaries("list").size(), 2U);
  EXPECT_EQ(copy.json(), R"({"list":[{"n":2},{}]})");
  EXPECT_EQ(Dictionary::fromJson(copy.json()), copy);
  EXPECT_EQ(Dictionary::fromJson("[]"), std::nullopt);
  EXPECT_EQ(Dictionary().string("any"), std::nullopt);
}

}  // namespace
}  // namespace zul

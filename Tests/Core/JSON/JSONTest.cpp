#include <gtest/gtest.h>

#include <limits>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/Base64.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UTF8.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander {
namespace {

using tests::bytesOf;

std::string inQuotes(std::string_view text) {
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) { writer.string(text); });
}

void writeSample(JSONWriter& writer) {
  writer.beginObject();
  writer.key("empty array");
  writer.beginArray();
  writer.endArray();
  writer.key("empty object");
  writer.beginObject();
  writer.endObject();
  writer.key("list");
  writer.beginArray();
  writer.integer(std::numeric_limits<std::int64_t>::min());
  writer.unsignedInteger(std::numeric_limits<std::uint64_t>::max());
  writer.boolean(false);
  writer.null();
  writer.beginObject();
  writer.string("a", "b");
  writer.endObject();
  writer.endArray();
  writer.endObject();
}

TEST(JSONWriter, prettyPrintsWithTwoSpacesAndAnEmptyLineInWhatIsEmpty) {
  EXPECT_EQ(jsonText(JSONWriter::Style::prettyPrinted, writeSample), R"({
  "empty array" : [

  ],
  "empty object" : {

  },
  "list" : [
    -9223372036854775808,
    18446744073709551615,
    false,
    null,
    {
      "a" : "b"
    }
  ]
})");
}

TEST(JSONWriter, writesNoWhiteSpaceWhenCompact) {
  EXPECT_EQ(
      jsonText(JSONWriter::Style::compact, writeSample),
      R"({"empty array":[],"empty object":{},"list":[-9223372036854775808,18446744073709551615,false,null,{"a":"b"}]})");
}

TEST(JSONWriter, escapesWhatJSONAsksForAndSlashes) {
  EXPECT_EQ(inQuotes("DCIM/100/PICT0001.JPG"), R"("DCIM\/100\/PICT0001.JPG")");
  EXPECT_EQ(inQuotes("\b\f\n\r\t\"\\"), R"("\b\f\n\r\t\"\\")");
  EXPECT_EQ(inQuotes(std::string_view("\0\x1f\x0b", 3)), R"("\u0000\u001f\u000b")");
  EXPECT_EQ(inQuotes("\x7f äö€😀"), "\"\x7f äö€😀\"");
}

TEST(JSONWriter, escapesAtEveryPositionOfALongText) {
  for (std::size_t position = 0; position < 40; ++position) {
    for (const char special : {'"', '/', '\\', '\n', '\x01'}) {
      std::string text(40, 'x');
      text[position] = special;
      const std::string json = inQuotes(text);
      EXPECT_EQ(JSONDocument(bytesOf(json)).root().string(), text) << json;
      EXPECT_GT(json.size(), text.size() + 2) << "nothing was escaped in " << json;
    }
  }
}

TEST(JSONWriter, replacesEachIllFormedSequenceByOneReplacementCharacter) {
  const std::string r = "\xEF\xBF\xBD";
  EXPECT_EQ(inQuotes("a\xFF\xFE.JPG"), "\"a" + r + r + ".JPG\"");
  EXPECT_EQ(inQuotes("\xE2\x82"), "\"" + r + "\"") << "cut off";
  EXPECT_EQ(inQuotes("\xC0\xAF"), "\"" + r + r + "\"") << "a slash spelt too long";
  EXPECT_EQ(inQuotes("\xED\xA0\x80"), "\"" + r + r + r + "\"") << "a surrogate";
  EXPECT_EQ(inQuotes("\xF4\x90\x80\x80"), "\"" + r + r + r + r + "\"") << "beyond U+10FFFF";
  EXPECT_EQ(inQuotes("\xF0\x9F\x98x"), "\"" + r + "x\"");
}

TEST(JSONWriter, handsALongDocumentOnInPieces) {
  std::size_t pieces = 0;
  std::size_t largest = 0;
  std::string text;
  JSONWriter writer(JSONWriter::Style::compact, [&](std::span<const std::byte> bytes) {
    ++pieces;
    largest = std::max(largest, bytes.size());
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  writer.beginArray();
  for (int index = 0; index < 100'000; ++index) {
    writer.string("0123456789abcdef");
  }
  writer.endArray();
  writer.finish();
  EXPECT_GT(pieces, 5U);
  EXPECT_LT(largest, 512U * 1024);
  EXPECT_EQ(JSONDocument(bytesOf(text)).root().array().size(), 100'000U);
}

TEST(JSONWriter, writesNumbersInAsFewDigitsAsReadTheSameBack) {
  const auto numberText = [](double number) {
    return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) { writer.number(number); });
  };
  EXPECT_EQ(numberText(30), "30");
  EXPECT_EQ(numberText(-0.1), "-0.1");
  EXPECT_EQ(numberText(30000.0 / 1001), "29.97002997002997");
  EXPECT_EQ(numberText(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(numberText(-std::numeric_limits<double>::denorm_min()), "-5e-324");
  EXPECT_DEATH(numberText(std::numeric_limits<double>::infinity()), "finite");
}

TEST(JSONWriter, treatsAWrongOrderOfCallsAsAProgrammingError) {
  const auto ignore = [](std::span<const std::byte>) {};
  EXPECT_DEATH(
      {
        JSONWriter writer(JSONWriter::Style::compact, ignore);
        writer.beginObject();
        writer.string("value without a key");
      },
      "precondition failed");
  EXPECT_DEATH(
      {
        JSONWriter writer(JSONWriter::Style::compact, ignore);
        writer.beginObject();
        writer.finish();
      },
      "precondition failed");
}

DecodingError::Case failureOf(const std::string& json, const std::function<void(const JSONValue&)>& read) {
  try {
    read(JSONDocument(bytesOf(json)).root());
  } catch (const DecodingError& error) {
    return error.kind();
  }
  ADD_FAILURE() << json << " was read";
  return {};
}

void ignoreValue(const JSONValue&) {}

TEST(JSONReader, refusesWhatIsNoJSON) {
  for (const std::string json :
       {"", " ", "{", "{}x", "[1,]", "{\"a\"}", "nul", "'a'", "[1] [2]", "\xEF\xBB\xBF{}", "\"\x01\"",
        "\"\xFF\"", "// c\n1", "NaN", "01", "+1", ".5", "\"\\x41\""}) {
    EXPECT_EQ(failureOf(json, ignoreValue), DecodingError::Case::dataCorrupted) << json;
  }
}

TEST(JSONReader, refusesALoneSurrogateAndTakesAPair) {
  EXPECT_EQ(failureOf(R"("\ud83d")", ignoreValue), DecodingError::Case::dataCorrupted);
  EXPECT_EQ(failureOf(R"("\ude00 ")", ignoreValue), DecodingError::Case::dataCorrupted);
  EXPECT_EQ(JSONDocument(bytesOf(R"("\ud83d\ude00")")).root().string(), "😀");
}

TEST(JSONReader, takesAnyWhiteSpace) {
  EXPECT_EQ(JSONDocument(bytesOf("\t\r\n {\"a\"\n:\t1 } \n")).root().object().required("a").integer(), 1);
}

TEST(JSONReader, takesAHundredLevelsAndRefusesAThousand) {
  const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  EXPECT_NO_THROW(JSONDocument(bytesOf(nested(100))));
  EXPECT_EQ(failureOf(nested(1000), ignoreValue), DecodingError::Case::dataCorrupted);
  EXPECT_EQ(failureOf(nested(1'000'000), ignoreValue), DecodingError::Case::dataCorrupted);
}

TEST(JSONReader, takesWholeNumbersHoweverTheyAreSpelt) {
  const auto integer = [](const std::string& json) { return JSONDocument(bytesOf(json)).root().integer(); };
  EXPECT_EQ(integer("5.0"), 5);
  EXPECT_EQ(integer("1e3"), 1000);
  EXPECT_EQ(integer("-0"), 0);
  EXPECT_EQ(integer("-2.5e1"), -25);
  EXPECT_EQ(integer("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(integer("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(integer("9007199254740992.0"), 9007199254740992);
}

TEST(JSONReader, refusesNumbersThatAreNotWholeOrTooLarge) {
  const auto readInteger = [](const JSONValue& value) { static_cast<void>(value.integer()); };
  for (const char* json :
       {"5.5", "1e-3", "9223372036854775808", "1e19", "1e16", "1e999", "99999999999999999999999"}) {
    EXPECT_EQ(failureOf(json, readInteger), DecodingError::Case::dataCorrupted) << json;
  }
  for (const char* json : {"true", "\"5\"", "null", "[5]", "{}"}) {
    EXPECT_EQ(failureOf(json, readInteger), DecodingError::Case::typeMismatch) << json;
  }
}

TEST(JSONReader, readsEveryNumberAsTheNearestDouble) {
  const auto readNumber = [](std::string_view json) { return JSONDocument(bytesOf(json)).root().number(); };
  EXPECT_EQ(readNumber("816462797.25"), 816462797.25);
  EXPECT_EQ(readNumber("-0.5e1"), -5.0);
  EXPECT_EQ(readNumber("7"), 7.0);
  EXPECT_EQ(readNumber("-7"), -7.0);
  EXPECT_EQ(readNumber("18446744073709551615"), 18446744073709551615.0);
  for (const char* huge : {"1e400", "-1E+0400", "99999999999999999999999"}) {
    EXPECT_GE(readNumber(huge), 1e20) << huge;  // never a number that something could be made of
  }
  for (const char* json : {"true", "\"5\"", "null", "[5]", "{}"}) {
    EXPECT_THROW(readNumber(json), DecodingError) << json;
  }
}

TEST(JSONReader, tellsBooleansAndTextsFromOtherValues) {
  const auto kindOf = [](std::string_view json) {
    const JSONDocument document(bytesOf(json));
    return std::pair(document.root().isBoolean(), document.root().isString());
  };
  EXPECT_EQ(kindOf("true"), std::pair(true, false));
  EXPECT_EQ(kindOf("false"), std::pair(true, false));
  EXPECT_EQ(kindOf("\"true\""), std::pair(false, true));
  for (const char* json : {"1", "null", "[]", "{}"}) {
    EXPECT_EQ(kindOf(json), std::pair(false, false)) << json;
  }
}

TEST(JSONReader, failsOnAHugeNumberOnlyWhereItIsAskedFor) {
  for (const std::string huge : {"99999999999999999999999", "-99999999999999999999999", "1e400", "-1E+0400",
                                 "1e999", "18446744073709551616", "-9223372036854775809"}) {
    const JSONDocument document(bytesOf(R"({"a":[)" + huge + R"(],"te\"xt 1e400":"9e999 \\","b":)" + huge +
                                        R"(,"c":18446744073709551615})"));
    const JSONObject object = document.root().object();
    EXPECT_EQ(object.required("te\"xt 1e400").string(), "9e999 \\");
    EXPECT_EQ(object.required("c").unsignedInteger(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_THROW(static_cast<void>(object.required("b").integer()), DecodingError) << huge;
    EXPECT_THROW(static_cast<void>(object.required("b").unsignedInteger()), DecodingError) << huge;
  }
  const std::string long1 = std::string(400, '1') + ".0";
  EXPECT_THROW(static_cast<void>(JSONDocument(bytesOf(long1)).root().integer()), DecodingError);
  for (const std::string malformed :
       {"099999999999999999999999", "1e", "[1e400,1e]", "-", "1e400 1", "[1e400", "1e4000x"}) {
    EXPECT_EQ(failureOf(malformed, ignoreValue), DecodingError::Case::dataCorrupted) << malformed;
  }
}

TEST(JSONReader, takesUnsignedNumbersUpToTheirLargest) {
  const auto number = [](const std::string& json) {
    return JSONDocument(bytesOf(json)).root().unsignedInteger();
  };
  EXPECT_EQ(number("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(number("7.0"), 7U);
  for (const char* json : {"-1", "-1.0", "18446744073709551616"}) {
    EXPECT_EQ(failureOf(json, [](const JSONValue& value) { static_cast<void>(value.unsignedInteger()); }),
              DecodingError::Case::dataCorrupted)
        << json;
  }
}

TEST(JSONReader, neverTakesOneTypeForAnother) {
  EXPECT_EQ(failureOf("1", [](const JSONValue& value) { static_cast<void>(value.boolean()); }),
            DecodingError::Case::typeMismatch);
  EXPECT_EQ(failureOf("1", [](const JSONValue& value) { static_cast<void>(value.string()); }),
            DecodingError::Case::typeMismatch);
  EXPECT_EQ(failureOf("[]", [](const JSONValue& value) { static_cast<void>(value.object()); }),
            DecodingError::Case::typeMismatch);
  EXPECT_EQ(failureOf("{}", [](const JSONValue& value) { static_cast<void>(value.array()); }),
            DecodingError::Case::typeMismatch);
}

TEST(JSONReader, refusesAKeyThatStandsTwiceWhereItIsAskedFor) {
  const std::string json = R"({"a":1,"b":2,"a":1})";
  EXPECT_EQ(failureOf(json, [](const JSONValue& value) { static_cast<void>(value.object().required("a")); }),
            DecodingError::Case::dataCorrupted);
  EXPECT_EQ(failureOf(json, [](const JSONValue& value) { static_cast<void>(value.object().optional("a")); }),
            DecodingError::Case::dataCorrupted);
  EXPECT_EQ(JSONDocument(bytesOf(json)).root().object().required("b").integer(), 2);
}

TEST(JSONReader, tellsMissingFromNull) {
  const JSONDocument document(bytesOf(R"({"null":null,"text":"t"})"));
  const JSONObject object = document.root().object();
  EXPECT_FALSE(object.optional("missing"));
  EXPECT_FALSE(object.optional("null"));
  EXPECT_EQ(object.optionalString("text"), "t");
  EXPECT_THROW(static_cast<void>(object.optionalInteger("text")), DecodingError);
  try {
    static_cast<void>(object.required("missing"));
    FAIL();
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Case::keyNotFound);
    EXPECT_EQ(error.key(), "missing");
  }
  EXPECT_THROW(static_cast<void>(object.required("null").string()), DecodingError);
}

TEST(JSONReader, readsAFileAndPassesOnTheSystemsErrors) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "a.json", "[1,2]");
  EXPECT_EQ(JSONDocument(folder / "a.json").root().array().size(), 2U);
  EXPECT_THROW(JSONDocument(folder / "missing.json"), PosixError);
  EXPECT_THROW(JSONDocument{folder.url()}, PosixError);
}

TEST(Base64, writesAndReadsTheVectorsOfItsRFC) {
  for (const auto& [plain, text] : std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                                                    {"f", "Zg=="},
                                                                                    {"fo", "Zm8="},
                                                                                    {"foo", "Zm9v"},
                                                                                    {"foob", "Zm9vYg=="},
                                                                                    {"fooba", "Zm9vYmE="},
                                                                                    {"foobar", "Zm9vYmFy"}}) {
    EXPECT_EQ(base64Text(bytesOf(plain)), text);
    EXPECT_EQ(bytesFromBase64(text), bytesOf(plain));
  }
  EXPECT_EQ(base64Text(bytesOf("\xFB\xFF\xBF")), "+/+/");
}

TEST(Base64, refusesEveryOtherSpelling) {
  for (const char* text :
       {"Zg", "Zg=", "Zg===", "Zh==", "Zm9=", "Zm 9v", "Zm9v\n", "-_==", "=", "====", "Z===", "Zg==Zg=="}) {
    EXPECT_EQ(bytesFromBase64(text), std::nullopt) << text;
  }
}

TEST(UTF8, measuresWellFormedSequences) {
  for (const std::string_view text : {"a", "\x7f", "\u0080", "\u07ff", "\u0800", "\ud7ff", "\ue000", "\uffff",
                                      "\U00010000", "\U0010ffff"}) {
    const UTF8Sequence sequence = firstUTF8Sequence(std::string(text) + "x");
    EXPECT_TRUE(sequence.isWellFormed) << text;
    EXPECT_EQ(sequence.length, text.size()) << text;
  }
}

}  // namespace
}  // namespace tolvander

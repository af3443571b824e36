// Text from files made safe for messages: control characters of every kind and bytes that are not UTF-8
// become visible escapes, ordinary text (accents, other scripts, emoji, backslashes) passes as it is, and a
// class name read from a hostile archive reaches the reader's error escaped.
#include <gtest/gtest.h>

#include <string>

#include "document/DisplayText.h"
#include "document/FoliantData.h"
#include "document/KeyedArchive.h"

namespace velumen {
namespace {

TEST(DisplayText, ControlCharactersAndBrokenBytesBecomeVisibleEscapes) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> cases[] = {
        {"plain text", "plain text"},
        {"a\nb\r\tc", "a\\nb\\r\\tc"},
        {"\x1b[31mred\x1b[0m", "\\x1b[31mred\\x1b[0m"},
        {"nul\0x"s, "nul\\x00x"},
        {"\x01\x1f\x7f", "\\x01\\x1f\\x7f"},
        {"C1 \xc2\x85 and \u009b2J",
         "C1 \\u{85} and \\u{9b}2J"},
        {"line\xe2\x80\xa8sep\xe2\x80\xa9", "line\\u{2028}sep\\u{2029}"},
        {"\xe2\x80\xaegnp.exe", "\\u{202e}gnp.exe"},
        {"Grüße, 日本, \xf0\x9f\x96\x8b, back\\slash", "Grüße, 日本, \xf0\x9f\x96\x8b, back\\slash"},
        // A stray continuation byte, a cut sequence, an overlong slash, an encoded lone surrogate, past
        // U+10FFFF.
        {"\x80x", "\\x80x"},
        {"ab\xe2\x82", "ab\\xe2\\x82"},
        {"\xc0\xaf", "\\xc0\\xaf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
    };
    for (const auto& [raw, shown] : cases) {
        const std::string escaped = escapedForDisplay(raw);
        EXPECT_EQ(escaped, shown);
        // Escaping what was escaped changes nothing.
        EXPECT_EQ(escapedForDisplay(escaped), escaped);
    }
}

TEST(DisplayText, AHostileClassNameReachesTheReadersErrorEscaped) {
    struct Thing {};
    KeyedArchiver archiver;
    const auto bytes = archiver.archivedDataWithRootObject(
        Thing{}, {"Evil\n\x1b[31mClass\xc2\x9b", "NSObject"}, [](const Thing&, KeyedEncoder&) {});
    ASSERT_TRUE(bytes);
    try {
        unarchiveFoliantData(*bytes, nullptr);
        FAIL() << "a book of another class was read";
    } catch (const ArchiveError& e) {
        EXPECT_EQ(std::string(e.what()), "an object of the unexpected class Evil\\n\\x1b[31mClass\\u{9b}");
    }
}

TEST(KeyedArchiveValues, NumbersAndTextAtTheRootComeBackAndOtherMembersRaise) {
    const std::vector<float> widths = {64, 6, 3.5f, -0.0f};
    const std::vector<std::string> names = {"Helvetica", "Grüße", ""};
    KeyedArchiver a, b;
    const auto numbers = a.archivedTopLevel([&](KeyedEncoder& top) {
        top.encodeFloatArray("root", widths, {"NSMutableArray", "NSArray", "NSObject"});
    });
    const auto texts = b.archivedTopLevel([&](KeyedEncoder& top) {
        top.encodeStringArray("root", names, {"NSArray", "NSObject"});
    });
    ASSERT_TRUE(numbers && texts);

    KeyedUnarchiver readNumbers(*numbers);
    const KeyedDecoder top = readNumbers.topDecoder();
    EXPECT_EQ(top.classNameForKey("root"), "NSMutableArray");
    EXPECT_EQ(top.decodeNumberArrayForKey("root"), (std::vector<double>{64, 6, 3.5, -0.0}));
    EXPECT_FALSE(top.decodeNumberArrayForKey("absent"));
    EXPECT_THROW(top.decodeStringArrayForKey("root"), ArchiveError);

    KeyedUnarchiver readTexts(*texts);
    const KeyedDecoder textTop = readTexts.topDecoder();
    EXPECT_EQ(textTop.classNameForKey("root"), "NSArray");
    EXPECT_EQ(textTop.decodeStringArrayForKey("root"), names);
    EXPECT_THROW(textTop.decodeNumberArrayForKey("root"), ArchiveError);
    // Text where coded objects were asked for.
    const auto anything = [](const KeyedDecoder&) { return std::make_shared<int>(0); };
    EXPECT_THROW(textTop.decodeArrayForKey<int>("root", {"KColor"}, anything), ArchiveError);
}

}  // namespace
}  // namespace velumen

// Row values to texts that the result keeps.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/decode.h"
#include "values/matrix.h"
#include "values/one_value.h"
#include "values/render_cases.h"

// One value of a result that keeps texts, and what the conversion gave for it.
struct TextValue : OneValue {
    void *cache[1] = {};
    char *text = (char *)"untouched";
    int32_t length = 77;
    int64_t blocks = MemLiveBlocks();

    template <typename Content>
    TextValue(int32_t type, const Content &content) : OneValue(type, content) {
        result.text_cache = cache;
    }

    ~TextValue() {
        MemFailAt(0);
        MemFree(cache[0]);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }

    int32_t Convert(int32_t c_type = TVCI_C_CHAR) {
        return ConvertColumnToText(&result, c_type, 0, &text, 8000, &length);
    }

    void ExpectText(const char *wanted,
                    std::source_location place = std::source_location::current()) {
        const int32_t status = Convert();
        if (status == 0 && length == (int32_t)strlen(wanted) && strcmp(text, wanted) == 0) return;
        ADD_FAILURE_AT(place.file_name(), (int)place.line())
            << "status " << status << ", length " << length << ", text " << text << "\nwanted "
            << wanted;
    }

    void ExpectRefused() {
        EXPECT_EQ(-3, Convert());
        EXPECT_EQ(0, length);
        EXPECT_EQ(nullptr, text);
    }

    uint32_t Capacity() const {
        uint32_t capacity;
        memcpy(&capacity, cache[0], sizeof(capacity));
        return capacity;
    }
};

static void ExpectText(int32_t type, const Value &content, const char *wanted,
                       std::source_location place = std::source_location::current()) {
    TextValue(type, content).ExpectText(wanted, place);
}

TEST(ConvertColumnToText, NumbersAsInTheColumnRead) {
    for (const RenderCase &item : NUMBER_CASES) {
        ExpectText(item.type, item.value, item.column_text);
    }
    for (const RenderCase &item : DOUBLE_RULE_CASES) {
        ExpectText(item.type, item.value, item.column_text);
    }
}

TEST(ConvertColumnToText, DatesAndTimesAsInTheColumnRead) {
    for (const RenderCase &item : DATE_CASES) {
        if (item.type == 14) continue;
        ExpectText(item.type, item.value, item.column_text);
    }
}

TEST(ConvertColumnToText, TheYearOfAZonedDateTimeHasFourDigits) {
    ExpectText(14, Zoned(0, 0), "1970-01-01 00:00:00+0");
    ExpectText(14, Zoned(1250999, 330), "1970-01-01 05:30:01+5");
    ExpectText(14, Zoned(INT64_C(-61000000000000000), -480), "0036-12-26 03:33:20-8");
}

TEST(ConvertColumnToText, AGuidIsRefused) {
    TextValue(29, "550e8400-e29b-41d4-a716-446655440000").ExpectRefused();
}

TEST(ConvertColumnToText, TwoIntervalsReadAsTheyAre) {
    ExpectText(16, -14, "-1--2");
    ExpectText(24, INT64_C(93784999999), "1 2:03:04");
}

TEST(ConvertColumnToText, TheOtherIntervalsAreTurnedAroundAndReadRightTheSecondTime) {
    const struct {
        int32_t type;
        Value value;
        const char *first;
        const char *second;
    } cases[] = {
        {15, 1, "16777216", "1"},
        {17, 2, "33554432", "2"},
        {18, 3, "50331648", "3"},
        {19, 26, "18175317 08", "1 02"},
        {20, 5, "83886080", "5"},
        {21, 61, "710701 12:16", "0 01:01"},
        {22, 61, "17056836:16", "1:01"},
        {23, 8, "134217728", "8"},
        {25, INT64_C(3661000000), "-120151:-42:-37", "1:01:01"},
        {26, INT64_C(61000000), "-3147137:-18", "1:01"},
        {27, INT64_C(7000000), "-4553304150015", "7"},
    };
    for (const auto &item : cases) {
        SCOPED_TRACE(item.type);
        TextValue value(item.type, item.value);
        value.Convert();
        EXPECT_STREQ(item.first, value.text);
        value.ExpectText(item.second);
    }
}

TEST(ConvertColumnToText, WithoutTheSwapFlagIntervalsReadAsTheyAre) {
    TextValue value(22, 61);
    swap_bytes.store(0);
    value.ExpectText("1:01");
    value.ExpectText("1:01");
    swap_bytes.store(1);
}

TEST(ConvertColumnToText, ASecondReadOfAZonedValueSeesItsBytesSwappedBack) {
    TextValue value(12, Hex("00000001 0100"));
    value.ExpectText("4:16:00+4");
    value.ExpectText("4:40:37+0");
}

TEST(ConvertColumnToText, FiveTypesGiveTheirBytes) {
    for (const int32_t type : {30, 32, 33, 34, 45}) {
        TextValue value(type, "abc");
        value.ExpectText("abc");
        EXPECT_EQ(128u, value.Capacity());
        TextValue tagged(type, "cabc");
        tagged.session.attr.lob_ret = 1;
        tagged.ExpectText("cabc");
    }
    TextValue bytes(33, Hex("00FF00"));
    EXPECT_EQ(0, bytes.Convert());
    EXPECT_EQ(3, bytes.length);
    EXPECT_EQ(Hex("00FF0000"), Bytes(bytes.text, bytes.text + 4));
}

TEST(ConvertColumnToText, EveryOtherTypeIsRefused) {
    for (int32_t type = 0; type < TYPES_TRIED; type++) {
        const bool named = (TEXT_TYPES >> type & 1) != 0 && type != 29;
        if (named && (type < 48 || type > 60)) continue;
        SCOPED_TRACE(type);
        TextValue(type, SampleOf(type)).ExpectRefused();
    }
}

TEST(ConvertColumnToText, AnyOtherFormLeavesEverythingAsItIs) {
    for (int32_t c_type = 1; c_type < C_TYPES_TRIED; c_type++) {
        if (c_type == TVCI_C_CHAR) continue;
        TextValue value(15, 1);
        EXPECT_EQ(-3, value.Convert(c_type));
        EXPECT_STREQ("untouched", value.text);
        EXPECT_EQ(77, value.length);
        EXPECT_EQ(1, value.row[25]);
    }
}

TEST(ConvertColumnToText, ANullIsMinusOneWithLength0) {
    TextValue value(5, 7);
    value.SetNull();
    EXPECT_EQ(-1, value.Convert());
    EXPECT_EQ(0, value.length);
    EXPECT_STREQ("untouched", value.text);
    value.result.current_row = NULL;
    EXPECT_EQ(-1, value.Convert());
}

TEST(ConvertColumnToText, AColumnThatTheResultDoesNotHaveIsRefused) {
    TextValue value(5, 7);
    EXPECT_EQ(-3, ConvertColumnToText(&value.result, TVCI_C_CHAR, 1, &value.text, 0, NULL));
    EXPECT_EQ(nullptr, value.text);
}

TEST(ConvertColumnToText, ShortMemoryAndAResultThatKeepsNoTextsRefuse) {
    TextValue value(5, 7);
    MemFailAt(1);
    value.ExpectRefused();
    MemFailAt(0);
    value.ExpectText("7");
    value.result.text_cache = NULL;
    value.ExpectRefused();
}

TEST(ConvertColumnToText, ARenderedTextHasABlockOf64) {
    TextValue value(5, 12345);
    value.ExpectText("12345");
    EXPECT_EQ(64u, value.Capacity());
    EXPECT_EQ((char *)value.cache[0] + 4, value.text);
}

// A text of `length` letters in a cache of one column.
struct CacheTest : testing::Test {
    void *cache[1] = {};
    ResultSet result = {};

    CacheTest() {
        result.text_cache = cache;
    }
    ~CacheTest() override {
        MemFailAt(0);
        MemFree(cache[0]);
    }

    const char *Put(int32_t growth, int32_t length) {
        const std::string text((size_t)length, 'x');
        const char *copy = CacheColumnText(&result, 0, growth, text.data(), length);
        EXPECT_EQ(text, copy);
        return copy;
    }

    uint32_t Capacity() const {
        uint32_t capacity;
        memcpy(&capacity, cache[0], sizeof(capacity));
        return capacity;
    }
};

TEST_F(CacheTest, TheFirstBlockHoldsTheGrowthOrTheText) {
    Put(64, 10);
    EXPECT_EQ(64u, Capacity());
    MemFree(cache[0]);
    cache[0] = NULL;
    Put(64, 65);
    EXPECT_EQ(65u, Capacity());
}

TEST_F(CacheTest, ABlockThatIsLargeEnoughIsUsedAgain) {
    const char *first = Put(64, 10);
    MemFailAt(1);
    EXPECT_EQ(first, Put(64, 64));
    EXPECT_EQ(first, Put(128, 0));
    EXPECT_FALSE(MemFailed());
}

TEST_F(CacheTest, ALongerTextGrowsTheBlockByItsGrowth) {
    Put(64, 10);
    Put(64, 65);
    EXPECT_EQ(129u, Capacity());
    Put(128, 130);
    EXPECT_EQ(258u, Capacity());
    Put(128, 1000000);
    EXPECT_EQ(1000128u, Capacity());
}

TEST_F(CacheTest, WithoutMemoryTheOldTextStays) {
    Put(64, 10);
    MemFailAt(1);
    EXPECT_EQ(nullptr, CacheColumnText(&result, 0, 64, "", 65));
    EXPECT_EQ(64u, Capacity());
    EXPECT_EQ(nullptr, CacheColumnText(&result, 0, 64, "", -1));
}

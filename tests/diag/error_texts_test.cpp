// The texts of errors: every row of the client's table, the ways to miss it, and the server's
// catalogue.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "diag/error.h"

namespace {

struct TableRow {
    const char *code;
    uint8_t show_version;
    const char *text;
};

const TableRow TABLE_ROWS[] = {
    {"E32101", 0, "parenthandle or handle pointer is null"},
    {"E32102", 0, "handle alloc error"},
    {"E32103", 0, "alloc handle error,current handle is not on explicit application list"},
    {"E32201", 0, "set environment handle attribute error"},
    {"E32202", 0, "Attribute set Handle can't be NULL"},
    {"E32203", 0, "Set Attribute error"},
    {"E32204", 0, "set attr handle type error"},
    {"E32205", 0, "Set Server attr error"},
    {"E32206", 0, "Set Server attr-IP error"},
    {"E32207", 0, "Set Server attr-Port error"},
    {"E32208", 0, "Set Server attr-URL  error"},
    {"E32209", 0, "Set Server attr-IPS error"},
    {"E32210", 0, "Set Session attrs-Version Error"},
    {"E32211", 0, "Set Session attr-CharSet Error"},
    {"E32212", 0, "Set Session attr-Isolevel Error"},
    {"E32213", 0, "Set Session attr-SSL Error"},
    {"E32214", 0, "Set Session attr-auto_commit Error"},
    {"E32215", 0, "Set Session attr type Error"},
    {"E32216", 0, "Set connpool attr type Error"},
    {"E32220", 0, "Set Statement Error prepare with server cursor"},
    {"E32221", 0, "Set Statement attr-type Error"},
    {"E32384", 1, "login database error"},
    {"E32388", 0, "connect set IP/Port error"},
    {"E32389", 0, "connect to server failure"},
};

// Looks a code up with both outputs preset, so that a miss shows that it wrote nothing.
int32_t Lookup(const char *code, uint8_t *show_version, const char **text) {
    *show_version = 77;
    *text = "untouched";
    return ErrTextLookup(code, show_version, text);
}

void ExpectUnknown(const char *code) {
    uint8_t show_version;
    const char *text;
    EXPECT_EQ(-1, Lookup(code, &show_version, &text)) << code;
    EXPECT_EQ(77, show_version) << code;
    EXPECT_STREQ("untouched", text) << code;
}

TEST(ErrTextLookup, EveryRowOfTheTableIsFound) {
    for (const TableRow &row : TABLE_ROWS) {
        uint8_t show_version;
        const char *text;
        EXPECT_EQ(0, Lookup(row.code, &show_version, &text)) << row.code;
        EXPECT_EQ(row.show_version, show_version) << row.code;
        EXPECT_STREQ(row.text, text) << row.code;
    }
}

TEST(ErrTextLookup, ReconnectCodeHasNoRow) {
    ExpectUnknown("E32217");
}

TEST(ErrTextLookup, NumbersBesideTheRowsAreUnknown) {
    for (const char *code : {"E32100", "E32104", "E32199", "E32200", "E32218", "E32219", "E32222",
                             "E32383", "E32385", "E32387", "E32390"}) {
        ExpectUnknown(code);
    }
}

TEST(ErrTextLookup, FamilyFourScansItsPlaceholderAndIsUnknown) {
    ExpectUnknown("E32400");
}

TEST(ErrTextLookup, FamiliesFourToNineAreUnknown) {
    for (const char *code : {"E32401", "E32500", "E32600", "E32700", "E32800", "E32900", "E32999",
                             "E19884", "E19960", "E13601"}) {
        ExpectUnknown(code);
    }
}

TEST(ErrTextLookup, FamilyZeroIsFoundWithANullText) {
    for (const char *code : {"E32000", "E32001", "E32099", "E02051"}) {
        uint8_t show_version;
        const char *text;
        EXPECT_EQ(0, Lookup(code, &show_version, &text)) << code;
        EXPECT_EQ(0, show_version) << code;
        EXPECT_EQ(nullptr, text) << code;
    }
}

TEST(ErrTextLookup, OnlyTheFourthPlaceOnCounts) {
    uint8_t show_version;
    const char *text;
    EXPECT_EQ(0, Lookup("E99102", &show_version, &text));
    EXPECT_STREQ("handle alloc error", text);
}

TEST(ErrTextLookup, CodesTooShortForAFamilyAreUnknown) {
    for (const char *code : {"", "E", "E3", "E32"}) {
        ExpectUnknown(code);
    }
}

TEST(ErrTextLookup, FamilyThatIsNoDigitIsUnknown) {
    for (const char *code : {"E32x02", "E32/02", "E32:02", "E32-02", "E32 02",
                             "E32\xff"
                             "2"}) {
        ExpectUnknown(code);
    }
}

struct CatalogueRow {
    int32_t index;
    const char *name;
    int32_t number;
    const char *readable;  // UTF-8
    const char *text;      // the same in GBK
};

const CatalogueRow CATALOGUE_ROWS[] = {
    {0, "NO_ERR", 1001, "", ""},
    {1, "ERR_IGL", 19001, "", ""},
    {2, "ERR_SEGV", 19002, "", ""},
    {3, "ERR_ILL", 19003, "非法指令", "\267\307\267\250\326\270\301\356"},
    {4, "ERR_FPE", 19004, "浮点数错误", "\270\241\265\343\312\375\264\355\316\363"},
    {5, "ERR_DIV_ZERO", 19005, "除数为0", "\263\375\312\375\316\2520"},
    {6, "ERR_FUNC_STACK_OV", 19006, "运行栈溢出", "\324\313\320\320\325\273\322\347\263\366"},
    {7, "ERR_FRAME_STACK_OV", 19007, "框架栈溢出", "\277\362\274\334\325\273\322\347\263\366"},
    {8, "ERR_EXCEPT_STACK_OV", 19008, "异常栈溢出", "\322\354\263\243\325\273\322\347\263\366"},
    {9, "ERR_NO_DATA_FOUND", 19009, "查询无结果", "\262\351\321\257\316\336\275\341\271\373"},
    {10, "ERR_MORE_DATA_FOUND", 19010, "查询结果太多",
     "\262\351\321\257\275\341\271\373\314\253\266\340"},
    {11, "ERR_CUR_NO_OPEN", 19011, "游标未找开", "\323\316\261\352\316\264\325\322\277\252"},
    {12, "ERR_DUP_VAL_ON_INDEX", 13001, "违反唯一值约束",
     "\316\245\267\264\316\250\322\273\326\265\324\274\312\370"},
    {13, "ERR_COPY_BI", 15001, "Copy记录前像期间发生系统存取保护事故",
     "Copy\274\307\302\274\307\260\317\361\306\332\274\344\267\242\311\372\317\265\315\263\264\346"
     "\310\241\261\243\273\244\312\302\271\312"},
    {14, "ERR_TUP_DATA", 15002, "记录格式出现意外错误",
     "\274\307\302\274\270\361\312\275\263\366\317\326\322\342\315\342\264\355\316\363"},
    {15, "ERR_IDX_DATA", 12001, "索引记录尺c度超过4000字节",
     "\313\367\322\375\274\307\302\274\263\337c\266\310\263\254\271\3754000\327\326\275\332"},
    {16, "ERR_BLK_SIZE", 3001, "块大小出现异常",
     "\277\351\264\363\320\241\263\366\317\326\322\354\263\243"},
    {17, "ERR_TAB_CATA", 5001, "查找不到关于表(%s)的系统记录",
     "\262\351\325\322\262\273\265\275\271\330\323\332\261\355(%s)"
     "\265\304\317\265\315\263\274\307\302\274"},
    {18, "ERR_LOB_SPACE", 3002, "不能打开大对象字段(%s)所在的表空间",
     "\262\273\304\334\264\362\277\252\264\363\266\324\317\363\327\326\266\316(%s)"
     "\313\371\324\332\265\304\261\355\277\325\274\344"},
    {19, "ERR_LOB_ENTRY", 5002, "不能打开大对象字段(%s)所在的存贮段",
     "\262\273\304\334\264\362\277\252\264\363\266\324\317\363\327\326\266\316(%s)"
     "\313\371\324\332\265\304\264\346\326\374\266\316"},
};

TEST(ServerErrorLookup, EveryRowOfTheCatalogueIsFoundByItsNumber) {
    for (const CatalogueRow &row : CATALOGUE_ROWS) {
        const ServerErrorEntry *entry = ServerErrorLookup(row.number);
        ASSERT_NE(nullptr, entry) << row.name;
        EXPECT_EQ(row.index, entry->index) << row.name;
        EXPECT_STREQ(row.name, entry->name);
        EXPECT_EQ(row.number, entry->number) << row.name;
        EXPECT_STREQ(row.text, entry->text) << row.readable;
    }
}

TEST(ServerErrorLookup, CatalogueHasTwentyRowsNumberedFromZero) {
    std::set<int32_t> indexes;
    for (int32_t number = 0; number <= 99999; number++) {
        const ServerErrorEntry *entry = ServerErrorLookup(number);
        if (entry != nullptr) {
            indexes.insert(entry->index);
        }
    }
    EXPECT_EQ(20u, indexes.size());
    EXPECT_EQ(0, *indexes.begin());
    EXPECT_EQ(19, *indexes.rbegin());
}

TEST(ServerErrorLookup, NumberOutsideTheCatalogueIsNull) {
    EXPECT_EQ(nullptr, ServerErrorLookup(0));
    EXPECT_EQ(nullptr, ServerErrorLookup(17005));
    EXPECT_EQ(nullptr, ServerErrorLookup(-1));
}

}  // namespace

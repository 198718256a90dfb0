// The field list of a result, and the layout of the rows that it gives.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "stmt/row_rig.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

// Reads one description with the name into a record that is freed with the test.
struct OneField {
    explicit OneField(const std::string &name) {
        rig.Arrive(Counted(name) + Hex("0000001E 00000010 00000002"));
        EXPECT_EQ(0, ReadField(rig.conn, &field));
    }

    ~OneField() {
        MemFree(field.table != nullptr ? field.table : field.name);
    }

    RowRig rig;
    FieldDesc field = {};
};

TEST(ReadField, APlainName) {
    OneField one("ID");
    EXPECT_STREQ(nullptr, one.field.table);
    EXPECT_STREQ("ID", one.field.name);
    EXPECT_STREQ(nullptr, one.field.attribute);
    EXPECT_EQ(30, one.field.type);
    EXPECT_EQ(2, one.field.app_type);
    EXPECT_EQ(16, one.field.size);
    EXPECT_EQ(2, one.field.flags);
}

TEST(ReadField, ANameWithADotAndALaterPercentYieldsTableNameAndAttribute) {
    OneField one("T1.ID%key");
    EXPECT_STREQ("T1", one.field.table);
    EXPECT_STREQ("ID", one.field.name);
    EXPECT_STREQ("key", one.field.attribute);
}

TEST(ReadField, OfTwoDotsTheFirstParts) {
    OneField one("S.T.ID");
    EXPECT_STREQ("S", one.field.table);
    EXPECT_STREQ("T.ID", one.field.name);
}

TEST(ReadField, ADotBehindThePercentIsTheAttributes) {
    OneField one("ID%a.b%c");
    EXPECT_STREQ(nullptr, one.field.table);
    EXPECT_STREQ("ID", one.field.name);
    EXPECT_STREQ("a.b%c", one.field.attribute);
}

TEST(ReadField, EmptyParts) {
    OneField one(".%");
    EXPECT_STREQ("", one.field.table);
    EXPECT_STREQ("", one.field.name);
    EXPECT_STREQ("", one.field.attribute);
}

TEST(ReadField, AnEmptyName) {
    OneField one("");
    EXPECT_STREQ(nullptr, one.field.table);
    EXPECT_STREQ("", one.field.name);
}

TEST(ReadField, EachTypeGetsItsDefaultCType) {
    RowRig rig;
    rig.Arrive(Hex("00000001 'A' 00000010 FFFFFFFF 00000000"));  // INTERVAL YEAR TO MONTH
    FieldDesc field = {};
    EXPECT_EQ(0, ReadField(rig.conn, &field));
    EXPECT_EQ(28, field.app_type);
    EXPECT_EQ(-1, field.size);
    MemFree(field.name);
}

TEST(ReadField, ANegativeNameLengthIsNoMemory) {
    RowRig rig;
    rig.Arrive(Hex("FFFFFFFF 'A' 00000010 FFFFFFFF 00000000"));
    FieldDesc field = {};
    EXPECT_EQ(-5, ReadField(rig.conn, &field));
    EXPECT_EQ(nullptr, field.name);
}

TEST(ReadField, CutShortAtAnyByteIsALostConnection) {
    const Bytes whole = Hex("00000004 'T.ID' 0000001E 00000010 00000002");
    for (size_t came = 0; came < whole.size(); came++) {
        RowRig rig;
        rig.Arrive(Bytes(whole.begin(), whole.begin() + (ptrdiff_t)came));
        FieldDesc field = {};
        EXPECT_EQ(-4, ReadField(rig.conn, &field)) << came;
        EXPECT_EQ(nullptr, field.table);
        EXPECT_EQ(nullptr, field.name);
    }
}

TEST(ReadFieldList, NoColumnsGiveRowsOf24Bytes) {
    RowRig rig;
    rig.Arrive(Hex("00000000 'K'"));
    ResultSet *result = NewResultSet(&rig.stmt);
    EXPECT_EQ(0, ReadFieldList(result));
    EXPECT_EQ(0, result->field_count);
    EXPECT_EQ(24, result->row_size);
    EXPECT_NE(nullptr, result->fields);
    EXPECT_EQ(HexText(Hex("'K'")), HexText(rig.Unread()));
}

TEST(ReadFieldList, FiveColumnsBeginBehindTwoBytesOfStatus) {
    RowRig rig;
    const ResultSet *result = rig.NewResult({3, 4, 5, 6, 30});
    const int32_t offsets[] = {2, 3, 5, 9, 17};
    for (int column = 0; column < 5; column++) {
        EXPECT_EQ(offsets[column], result->fields[column].value_offset) << column;
    }
    EXPECT_EQ(24 + 33, result->row_size);
}

TEST(ReadFieldList, FourColumnsBeginBehindOneByteOfStatus) {
    RowRig rig;
    EXPECT_EQ(1, rig.NewResult({5, 5, 5, 5})->fields[0].value_offset);
}

TEST(ReadFieldList, ANumericTakes40BytesOfTheRow) {
    RowRig rig;
    const ResultSet *result = rig.NewResult({7, 2});
    EXPECT_EQ(1, result->fields[0].value_offset);
    EXPECT_EQ(41, result->fields[1].value_offset);
    EXPECT_EQ(24 + 42, result->row_size);
}

TEST(ReadFieldList, ASlotForEveryType) {
    RowRig rig;
    const ResultSet *result = rig.NewResult({0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                                             14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,
                                             28, 29, 30, 32, 33, 34, 44, 45, 48, 55, 59, 60, 99});
    const int32_t offsets[] = {11,  27,  43,  44,  45,  47,  51,  59,  99,  103, 111, 115, 119, 135,
                               143, 159, 163, 167, 171, 175, 179, 183, 187, 191, 195, 203, 211, 219,
                               227, 243, 259, 275, 291, 307, 323, 339, 355, 371, 387, 403, 419};
    ASSERT_EQ(41, result->field_count);
    for (int column = 0; column < 41; column++) {
        EXPECT_EQ(offsets[column], result->fields[column].value_offset) << column;
    }
    EXPECT_EQ(24 + 435, result->row_size);
}

TEST(ReadFieldList, MoreColumnsThanRoomIsMadeForAtFirst) {
    RowRig rig;
    const ResultSet *result = rig.NewResult(std::vector<int32_t>(1000, 5));
    ASSERT_EQ(1000, result->field_count);
    EXPECT_EQ(250, result->fields[0].value_offset);
    EXPECT_EQ(250 + 999 * 4, result->fields[999].value_offset);
    EXPECT_STREQ("C", result->fields[999].name);
    EXPECT_EQ(24 + 250 + 4000, result->row_size);
}

TEST(ReadFieldList, ANegativeCountIsNoMemory) {
    RowRig rig;
    rig.Arrive(Hex("FFFFFFFF") + FieldBytes("A", 5));
    ResultSet *result = NewResultSet(&rig.stmt);
    EXPECT_EQ(-5, ReadFieldList(result));
    EXPECT_EQ(nullptr, result->fields);
}

TEST(ReadFieldList, AHugeCountAsksForNoMemoryAheadOfItsFields) {
    RowRig rig;
    rig.Arrive(Hex("7FFFFFFF") + Repeat(FieldBytes("A", 5), 100));
    ResultSet *result = NewResultSet(&rig.stmt);
    EXPECT_EQ(-4, ReadFieldList(result));
    EXPECT_EQ(nullptr, result->fields);
}

// A table-and-name, a plain name with an attribute, and a NUMERIC.
static Bytes ThreeFields() {
    return Hex(
        "00000003"
        "00000004 'T.ID'  00000005 FFFFFFFF 00000002"
        "00000003 'B%x'   0000001E 00000014 00000400"
        "00000001 'N'     00000007 000A0002 00000000");
}

TEST(ReadFieldList, CutAtAnyByteReadsTheSame) {
    const Bytes list = ThreeFields();
    for (size_t cut = 1; cut < list.size(); cut++) {
        RowRig rig;
        rig.ArriveCut(list, cut);
        ResultSet *result = NewResultSet(&rig.stmt);
        ASSERT_EQ(0, ReadFieldList(result)) << cut;
        EXPECT_STREQ("T", result->fields[0].table);
        EXPECT_STREQ("ID", result->fields[0].name);
        EXPECT_STREQ("B", result->fields[1].name);
        EXPECT_STREQ("x", result->fields[1].attribute);
        EXPECT_EQ(1024, result->fields[1].flags);
        EXPECT_EQ(0xA0002, result->fields[2].size);
        EXPECT_EQ(24 + 1 + 4 + 16 + 40, result->row_size);
    }
}

TEST(ReadFieldList, CutShortAtAnyByteIsALostConnection) {
    const Bytes list = ThreeFields();
    for (size_t came = 0; came < list.size(); came++) {
        RowRig rig;
        rig.Arrive(Bytes(list.begin(), list.begin() + (ptrdiff_t)came));
        ResultSet *result = NewResultSet(&rig.stmt);
        EXPECT_EQ(-4, ReadFieldList(result)) << came;
        EXPECT_EQ(nullptr, result->fields);
    }
}

TEST(ReadFieldList, AnyAllocationThatFailsIsNoMemory) {
    const Bytes list = Int32(200) + Repeat(FieldBytes("T.A%b", 5), 200);
    uint64_t request = 1;
    for (bool failed = true; failed; request++) {
        RowRig rig;
        rig.Arrive(list);
        ResultSet *result = NewResultSet(&rig.stmt);
        MemFailAt(request);
        const int32_t status = ReadFieldList(result);
        failed = MemFailed();
        MemFailAt(0);
        EXPECT_EQ(failed ? -5 : 0, status) << request;
        EXPECT_EQ(failed, result->fields == nullptr) << request;
    }
    // The array, its growth to 128 and to 200 records, and a text for each field.
    EXPECT_EQ(203U, request - 2);
}

TEST(ReadFieldList, ASecondListOnAResultTakesTheRowsOfTheFirstAway) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(Hex("'R' 00000004 00000001 'K'"));
    EXPECT_EQ(1, ReadFirstRows(result));
    rig.Arrive(Hex("00000001") + FieldBytes("B", 30));
    EXPECT_EQ(0, ReadFieldList(result));
    EXPECT_STREQ("B", result->fields[0].name);
    EXPECT_EQ(0, result->store.row_count.load());
    EXPECT_EQ(nullptr, result->arena);
}

TEST(NewResultSet, IsAppendedAtTheTail) {
    RowRig rig;
    ResultSet *first = NewResultSet(&rig.stmt);
    ResultSet *second = NewResultSet(&rig.stmt);
    ResultSet *third = NewResultSet(&rig.stmt);
    EXPECT_EQ(&first->link, rig.stmt.results.next);
    EXPECT_EQ(&second->link, first->link.next);
    EXPECT_EQ(&third->link, second->link.next);
    EXPECT_EQ(&rig.stmt.results, third->link.next);
    EXPECT_EQ(&rig.stmt, second->statement);
    EXPECT_EQ(0, second->kind);
    EXPECT_EQ(nullptr, second->fields);
}

TEST(NewResultSet, NoMemoryGivesNoneAndLeavesTheList) {
    RowRig rig;
    ResultSet *first = NewResultSet(&rig.stmt);
    MemFailAt(1);
    EXPECT_EQ(nullptr, NewResultSet(&rig.stmt));
    EXPECT_EQ(&first->link, rig.stmt.results.next);
    EXPECT_EQ(&rig.stmt.results, first->link.next);
}

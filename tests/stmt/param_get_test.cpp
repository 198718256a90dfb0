// Column descriptors: which position gives one, and how long it lives.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "stmt/row_rig.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"

struct ParamGetTest : testing::Test {
    RowRig rig;
    void *out = &rig;

    int32_t Get(int32_t position) {
        out = &rig;
        return TVCIParamGet(&rig.stmt, 0, &out, position);
    }

    ColumnHandle *Column() const {
        return (ColumnHandle *)out;
    }
};

TEST_F(ParamGetTest, AHandleThatIsNoStatementIsRefused) {
    EXPECT_EQ(-2, TVCIParamGet(nullptr, 0, &out, 1));
    rig.stmt.type = 3;
    EXPECT_EQ(-2, Get(1));
    EXPECT_EQ(&rig, out);
    rig.stmt.type = 0;
    EXPECT_EQ(-2, Get(0));
}

TEST_F(ParamGetTest, PositionsOutside1To4000AreRefused) {
    rig.NewResult({5});
    for (const int32_t position : {0, -1, INT32_MIN, 4001, INT32_MAX}) {
        EXPECT_EQ(-3, Get(position)) << position;
        EXPECT_EQ(&rig, out);
    }
    EXPECT_EQ(100, Get(4000));
}

TEST_F(ParamGetTest, NoPlaceForTheAnswerIsRefused) {
    rig.NewResult({5});
    EXPECT_EQ(-3, TVCIParamGet(&rig.stmt, 0, nullptr, 1));
}

TEST_F(ParamGetTest, WithoutAnyResult) {
    EXPECT_EQ(-1, Get(1));
    EXPECT_EQ(nullptr, out);
}

TEST_F(ParamGetTest, APositionAboveTheFieldCountIsTheEnd) {
    rig.stmt.current = rig.NewResult({5, 30});
    EXPECT_EQ(0, Get(2));
    EXPECT_EQ(100, Get(3));
    EXPECT_EQ(nullptr, out);
}

TEST_F(ParamGetTest, AColumnOfTheCurrentResult) {
    rig.NewResult({5});
    ResultSet *current = rig.NewResult({6, 30, 7});
    rig.stmt.current = current;
    EXPECT_EQ(0, Get(3));
    EXPECT_EQ(10U, Column()->type);
    EXPECT_EQ(3, Column()->position);
    EXPECT_EQ(&current->fields[2], Column()->field);
    EXPECT_EQ(current, rig.stmt.current);
}

TEST_F(ParamGetTest, WithoutACurrentResultTheFirstOneAnswersAndCurrentStaysClear) {
    ResultSet *first = rig.NewResult({5, 6});
    rig.NewResult({6, 30, 7});
    EXPECT_EQ(0, Get(1));
    EXPECT_EQ(&first->fields[0], Column()->field);
    EXPECT_EQ(nullptr, rig.stmt.current);
    EXPECT_EQ(100, Get(3));
}

TEST_F(ParamGetTest, TheAttributeIsNotUsed) {
    rig.NewResult({5});
    EXPECT_EQ(0, TVCIParamGet(&rig.stmt, -1, &out, 1));
    EXPECT_EQ(0, TVCIParamGet(&rig.stmt, 61, &out, 1));
}

TEST_F(ParamGetTest, TheDescriptorOfAPositionIsTheSameRecordEachTime) {
    rig.NewResult({5, 30});
    EXPECT_EQ(0, Get(1));
    ColumnHandle *first = Column();
    EXPECT_EQ(0, Get(2));
    EXPECT_EQ(first + 1, Column());
    EXPECT_EQ(0, Get(1));
    EXPECT_EQ(first, Column());
}

TEST_F(ParamGetTest, ALaterResultWithMoreColumnsFindsRoom) {
    ResultSet *narrow = rig.NewResult({5});
    ResultSet *wide = rig.NewResult({5, 6, 7, 8, 9});
    rig.stmt.current = narrow;
    EXPECT_EQ(0, Get(1));
    ColumnHandle *kept = Column();
    rig.stmt.current = wide;
    EXPECT_EQ(0, Get(5));
    EXPECT_EQ(kept + 4, Column());
    EXPECT_EQ(&wide->fields[4], Column()->field);
    EXPECT_EQ(&narrow->fields[0], kept->field);
}

TEST_F(ParamGetTest, AResultThatArrivedLaterAndIsWiderFindsNoRoom) {
    rig.NewResult({5});
    EXPECT_EQ(0, Get(1));
    rig.stmt.current = rig.NewResult({5, 6});
    EXPECT_EQ(0, Get(1));
    EXPECT_EQ(-5, Get(2));
    EXPECT_EQ(nullptr, out);
}

TEST_F(ParamGetTest, AResultWhoseFieldListFailedHasNoColumns) {
    rig.Arrive(Hex("00000002") + FieldBytes("A", 5));
    ResultSet *result = NewResultSet(&rig.stmt);
    EXPECT_EQ(-4, ReadFieldList(result));
    EXPECT_EQ(100, Get(1));
}

TEST_F(ParamGetTest, AResultWithoutRowsHasNoColumns) {
    ResultSet *result = NewResultSet(&rig.stmt);
    result->kind = RESULT_UPDATE;
    rig.stmt.current = result;
    EXPECT_EQ(100, Get(1));
}

TEST_F(ParamGetTest, NoMemoryForTheDescriptors) {
    rig.NewResult({5});
    MemFailAt(1);
    EXPECT_EQ(-5, Get(1));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0, Get(1));
}

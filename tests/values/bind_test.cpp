// The bind table and the define table of a statement.
#include "values/bind.h"

#include <gtest/gtest.h>

#include <string>

#include "diag/error.h"
#include "platform/memory.h"
#include "tavu/tvci.h"

// A statement that belongs to no session, which the tables do not need.
struct BindTest : testing::Test {
    TVCIStmt stmt = {};
    int32_t value = 7;
    int32_t other = 8;
    int64_t blocks = MemLiveBlocks();

    BindTest() {
        stmt.type = TVCI_HTYPE_STMT;
        ListInit(&stmt.binds);
    }

    ~BindTest() override {
        MemFailAt(0);
        ErrInfoFree(&stmt.err);
        ParamsFree(&stmt);
        DefinesFree(&stmt);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }

    // Gives the statement `count` unbound parameters, as preparing it would.
    void Prepare(int32_t count, const char *const *names) {
        stmt.params = (ParamRecord *)MemAlloc((size_t)count * sizeof(ParamRecord));
        stmt.param_count = count;
        stmt.prepared = 1;
        for (int32_t i = 0; i < count; i++) {
            stmt.params[i].ordinal = i + 1;
            if (names != NULL) stmt.params[i].name = MemCopyText(names[i]);
        }
    }

    int32_t Bind(int32_t position) {
        return TVCIBindParam(&stmt, position, 1, &value, 4, TVCI_C_INT, NULL, NULL, 4);
    }

    int32_t BindName(const char *name) {
        return TVCIBindParamByName(&stmt, name, 1, &value, 4, TVCI_C_INT, NULL, NULL, 4);
    }

    // Binds one of `count` parameters to an array of `rows` integers.
    int32_t BindArray(int32_t position, int32_t count, int32_t rows = 3, int32_t kind = 1) {
        return TVCIBindParamArray(&stmt, position, count, kind, rows, &value, 4, TVCI_C_INT, NULL,
                                  NULL, 4);
    }

    int32_t BindArrayName(const char *name, int32_t count, int32_t rows = 3, int32_t kind = 1) {
        return TVCIBindParamArrayByName(&stmt, name, count, kind, rows, &value, 4, TVCI_C_INT, NULL,
                                        NULL, 4);
    }

    std::string Error() {
        char code[7];
        char message[100] = {};
        uint32_t length = 0;
        if (!ErrInfoPresent(&stmt.err)) return "";
        ErrInfoCopy(&stmt.err, code, message, sizeof(message), &length);
        return std::string(code) + ":" + std::string(message, length);
    }

    int32_t Define(int32_t column, void *buffer) {
        return TVCIDefineColumn(&stmt, column, buffer, 4, TVCI_C_INT, NULL, NULL);
    }

    int32_t ListedBinds() const {
        int32_t count = 0;
        for (const ListLink *link = stmt.binds.next; link != &stmt.binds; link = link->next) {
            count++;
        }
        return count;
    }
};

TEST_F(BindTest, AHandleThatIsNoStatementIsMinus2) {
    EXPECT_EQ(-2, TVCIBindParam(NULL, 0, 1, NULL, 0, 0, NULL, NULL, 0));
    EXPECT_EQ(-2, TVCIBindParamByName(NULL, NULL, 1, NULL, 0, 0, NULL, NULL, 0));
    EXPECT_EQ(-2, TVCIDefineColumn(NULL, 0, NULL, 0, 0, NULL, NULL));
    stmt.type = TVCI_HTYPE_SESSION;
    EXPECT_EQ(-2, Bind(1));
    EXPECT_EQ(-2, BindName("a"));
    EXPECT_EQ(-2, Define(1, &value));
}

TEST_F(BindTest, ABadValueOrTypeIsMinus3) {
    EXPECT_EQ(-3, TVCIBindParam(&stmt, 1, 1, NULL, 4, 5, NULL, NULL, 4));
    EXPECT_EQ(-3, TVCIBindParam(&stmt, 1, 1, &value, 4, 0, NULL, NULL, 4));
    EXPECT_EQ(-3, TVCIBindParam(&stmt, 1, 1, &value, 4, 5, NULL, NULL, 0));
    EXPECT_EQ(-3, TVCIBindParamByName(&stmt, "a", 1, NULL, 4, 5, NULL, NULL, 4));
    EXPECT_EQ(-3, TVCIBindParamByName(&stmt, "a", 1, &value, 4, -1, NULL, NULL, 4));
    EXPECT_EQ(-3, TVCIBindParamByName(&stmt, "a", 1, &value, 4, 5, NULL, NULL, -1));
    EXPECT_EQ(-3, BindName(NULL));
    EXPECT_EQ(0, stmt.param_count);
}

TEST_F(BindTest, TextAndBytesNeedASize) {
    for (const int32_t c_type : {TVCI_C_CHAR, TVCI_C_BINARY}) {
        for (const int32_t size : {0, -1}) {
            EXPECT_EQ(-3, TVCIBindParam(&stmt, 1, 1, &value, size, c_type, NULL, NULL, 12));
            EXPECT_EQ(-3, TVCIBindParamByName(&stmt, "a", 1, &value, size, c_type, NULL, NULL, 12));
            EXPECT_EQ(-3, TVCIDefineColumn(&stmt, 1, &value, size, c_type, NULL, NULL));
        }
        EXPECT_EQ(0, TVCIBindParam(&stmt, 1, 1, &value, 1, c_type, NULL, NULL, 12));
        EXPECT_EQ(0, TVCIDefineColumn(&stmt, 1, &value, 1, c_type, NULL, NULL));
    }
    EXPECT_EQ(0, TVCIBindParam(&stmt, 1, 1, &value, 0, TVCI_C_NUMERIC, NULL, NULL, 8));
}

TEST_F(BindTest, TheArgumentsAreCheckedBeforeThePosition) {
    EXPECT_EQ(-3, TVCIBindParam(&stmt, 0, 1, NULL, 4, 5, NULL, NULL, 4));
}

TEST_F(BindTest, ABindRecordsWhatItWasGiven) {
    int32_t code = 0;
    int32_t length = 4;
    ASSERT_EQ(0, TVCIBindParam(&stmt, 1, 2, &value, 4, TVCI_C_INT, &code, &length, 8));
    const ParamRecord *param = &stmt.params[0];
    EXPECT_EQ(1, param->bound);
    EXPECT_EQ(2, param->kind);
    EXPECT_EQ(8, param->sql_type);
    EXPECT_EQ(1, param->ordinal);
    EXPECT_EQ(NULL, param->name);
    EXPECT_EQ(&stmt, param->bind->stmt);
    EXPECT_EQ(&value, param->bind->value);
    EXPECT_EQ(4, param->bind->value_size);
    EXPECT_EQ(TVCI_C_INT, param->bind->c_type);
    EXPECT_EQ(&code, param->bind->return_code);
    EXPECT_EQ(&length, param->bind->return_length);
    EXPECT_EQ(0, param->bind->array_rows);
}

TEST_F(BindTest, AnUnpreparedStatementTakesTheNextPositionOnly) {
    EXPECT_EQ(-8, Bind(2));
    EXPECT_EQ(0, Bind(1));
    EXPECT_EQ(-8, Bind(3));
    EXPECT_EQ(1, stmt.param_count);
    EXPECT_EQ(0, Bind(2));
    EXPECT_EQ(2, stmt.param_count);
    EXPECT_EQ(2, stmt.params[1].ordinal);
    EXPECT_EQ(0, Bind(1));
    EXPECT_EQ(2, stmt.param_count);
}

TEST_F(BindTest, APositionBelow1IsMinus8) {
    EXPECT_EQ(-8, Bind(0));
    EXPECT_EQ(-8, Bind(-1));
    EXPECT_EQ(-8, Bind(INT32_MIN));
    EXPECT_EQ(-8, Bind(INT32_MAX));
}

TEST_F(BindTest, APreparedStatementKeepsItsCount) {
    Prepare(2, NULL);
    EXPECT_EQ(0, Bind(2));
    EXPECT_EQ(-8, Bind(3));
    EXPECT_EQ(2, stmt.param_count);
    EXPECT_EQ(0, stmt.params[0].bound);
}

TEST_F(BindTest, APositionWithoutAnArrayBehindItIsMinus8) {
    stmt.param_count = 1;
    EXPECT_EQ(-8, Bind(1));
}

TEST_F(BindTest, RebindingAPreparedPositionReleasesTheFirstBind) {
    Prepare(1, NULL);
    ASSERT_EQ(0, Bind(1));
    const int64_t bound_blocks = MemLiveBlocks();
    ASSERT_EQ(0, TVCIBindParam(&stmt, 1, 1, &other, 4, TVCI_C_INT, NULL, NULL, 5));
    EXPECT_EQ(bound_blocks, MemLiveBlocks());
    EXPECT_EQ(1, ListedBinds());
    EXPECT_EQ(&other, stmt.params[0].bind->value);
    EXPECT_EQ(5, stmt.params[0].sql_type);
}

TEST_F(BindTest, ANewBindGoesToTheEndOfTheList) {
    Prepare(2, NULL);
    ASSERT_EQ(0, Bind(1));
    ASSERT_EQ(0, Bind(2));
    EXPECT_EQ(&stmt.params[1].bind->link, stmt.binds.prev);
    ASSERT_EQ(0, Bind(1));
    EXPECT_EQ(&stmt.params[0].bind->link, stmt.binds.prev);
    EXPECT_EQ(2, ListedBinds());
}

TEST_F(BindTest, NamesAreComparedByteForByte) {
    const char *const names[] = {"a", "A"};
    Prepare(2, names);
    ASSERT_EQ(0, BindName("A"));
    EXPECT_EQ(0, stmt.params[0].bound);
    EXPECT_EQ(1, stmt.params[1].bound);
    EXPECT_EQ(-1, BindName("b"));
    EXPECT_EQ(-1, BindName(":a"));
    EXPECT_EQ(2, stmt.param_count);
}

TEST_F(BindTest, ANamelessParameterMatchesNoName) {
    Prepare(1, NULL);
    EXPECT_EQ(-1, BindName(""));
}

TEST_F(BindTest, AnUnpreparedStatementTakesNewNames) {
    char name[] = "first";
    ASSERT_EQ(0, BindName(name));
    name[0] = 'x';
    ASSERT_EQ(0, BindName("second"));
    ASSERT_EQ(0, BindName("first"));
    ASSERT_EQ(2, stmt.param_count);
    EXPECT_STREQ("first", stmt.params[0].name);
    EXPECT_STREQ("second", stmt.params[1].name);
    EXPECT_EQ(1, stmt.params[0].ordinal);
    EXPECT_EQ(2, stmt.params[1].ordinal);
    EXPECT_EQ(2, ListedBinds());
}

TEST_F(BindTest, WithoutMemoryAPositionalBindChangesNothing) {
    for (const uint64_t n : {1, 2}) {
        MemFailAt(n);
        EXPECT_EQ(-5, Bind(1));
        EXPECT_TRUE(MemFailed());
        EXPECT_EQ(0, stmt.param_count);
        EXPECT_EQ(0, ListedBinds());
    }
    MemFailAt(0);
    EXPECT_EQ(0, Bind(1));
}

TEST_F(BindTest, WithoutMemoryABindByNameChangesNothing) {
    for (const uint64_t n : {1, 2, 3}) {
        MemFailAt(n);
        EXPECT_EQ(-5, BindName("a"));
        EXPECT_TRUE(MemFailed());
        EXPECT_EQ(0, stmt.param_count);
        EXPECT_EQ(0, ListedBinds());
    }
    MemFailAt(0);
    EXPECT_EQ(0, BindName("a"));
}

TEST_F(BindTest, WithoutMemoryTheOldBindStays) {
    ASSERT_EQ(0, Bind(1));
    MemFailAt(1);
    EXPECT_EQ(-5, TVCIBindParam(&stmt, 1, 1, &other, 4, TVCI_C_INT, NULL, NULL, 4));
    MemFailAt(0);
    EXPECT_EQ(&value, stmt.params[0].bind->value);
}

TEST_F(BindTest, BindFreeUnbindsAParameter) {
    ASSERT_EQ(0, Bind(1));
    BindFree(&stmt.params[0]);
    EXPECT_EQ(0, stmt.params[0].bound);
    EXPECT_EQ(NULL, stmt.params[0].bind);
    EXPECT_EQ(0, ListedBinds());
    BindFree(&stmt.params[0]);
}

TEST_F(BindTest, ParamArrayFreeLeavesTheBinds) {
    ASSERT_EQ(0, BindName("a"));
    ParamRecord *params = stmt.params;
    ParamRecord kept = params[0];
    ParamArrayFree(params, 1);
    EXPECT_EQ(1, ListedBinds());
    EXPECT_EQ(&value, kept.bind->value);
    BindFree(&kept);
    ParamArrayFree(NULL, 5);
    stmt.params = NULL;
    stmt.param_count = 0;
}

TEST_F(BindTest, BindForgetMakesTheValueANull) {
    int32_t length = 4;
    ASSERT_EQ(0, TVCIBindParam(&stmt, 1, 1, &value, 4, TVCI_C_INT, &length, &length, 4));
    ASSERT_EQ(0, TVCIBindParam(&stmt, 2, 1, &other, 4, TVCI_C_INT, NULL, &length, 4));
    BindForget(&stmt, &value);
    EXPECT_EQ(1, stmt.params[0].bound);
    EXPECT_EQ(NULL, stmt.params[0].bind->value);
    EXPECT_EQ(NULL, stmt.params[0].bind->return_code);
    EXPECT_EQ(NULL, stmt.params[0].bind->return_length);
    EXPECT_EQ(&other, stmt.params[1].bind->value);
    EXPECT_EQ(&length, stmt.params[1].bind->return_length);
}

TEST_F(BindTest, ADefineRecordsWhatItWasGiven) {
    int32_t code = 0;
    int32_t length = 0;
    ASSERT_EQ(0, TVCIDefineColumn(&stmt, 3, &value, 4, TVCI_C_INT, &code, &length));
    ASSERT_EQ(1, stmt.bound_column_count);
    const DefineRecord *define = &stmt.bound_columns[0];
    EXPECT_EQ(2, define->column);
    EXPECT_EQ(&value, define->buffer);
    EXPECT_EQ(4, define->buffer_size);
    EXPECT_EQ(TVCI_C_INT, define->c_type);
    EXPECT_EQ(&code, define->return_code);
    EXPECT_EQ(&length, define->return_length);
}

TEST_F(BindTest, ABadDefineIsMinus3) {
    EXPECT_EQ(-3, Define(0, &value));
    EXPECT_EQ(-3, Define(-1, &value));
    EXPECT_EQ(-3, Define(1, NULL));
    EXPECT_EQ(-3, TVCIDefineColumn(&stmt, 1, &value, 4, 0, NULL, NULL));
    EXPECT_EQ(0, stmt.bound_column_count);
}

TEST_F(BindTest, ADefineOfAColumnAgainTakesItsPlace) {
    ASSERT_EQ(0, Define(1, &value));
    ASSERT_EQ(0, Define(2, &value));
    ASSERT_EQ(0, Define(1, &other));
    ASSERT_EQ(2, stmt.bound_column_count);
    EXPECT_EQ(&other, stmt.bound_columns[0].buffer);
}

TEST_F(BindTest, AnyColumnNumberCanBeDefined) {
    EXPECT_EQ(0, Define(INT32_MAX, &value));
    EXPECT_EQ(INT32_MAX - 1, stmt.bound_columns[0].column);
}

TEST_F(BindTest, WithoutMemoryTheDefinesStay) {
    ASSERT_EQ(0, Define(1, &value));
    MemFailAt(1);
    EXPECT_EQ(-5, Define(2, &value));
    MemFailAt(0);
    EXPECT_EQ(1, stmt.bound_column_count);
}

TEST_F(BindTest, DefineForgetDropsOneColumn) {
    ASSERT_EQ(0, Define(1, &value));
    ASSERT_EQ(0, Define(2, &value));
    ASSERT_EQ(0, Define(3, &other));
    DefineForget(&stmt, 1);
    ASSERT_EQ(2, stmt.bound_column_count);
    EXPECT_EQ(0, stmt.bound_columns[0].column);
    EXPECT_EQ(2, stmt.bound_columns[1].column);
    DefineForget(&stmt, 7);
    EXPECT_EQ(2, stmt.bound_column_count);
}

TEST_F(BindTest, AnArrayBindChecksItsArgumentsLikeAnyOther) {
    EXPECT_EQ(-2, TVCIBindParamArray(NULL, 0, 0, 2, -1, NULL, 0, 0, NULL, NULL, 0));
    EXPECT_EQ(-2, TVCIBindParamArrayByName(NULL, NULL, 0, 2, -1, NULL, 0, 0, NULL, NULL, 0));
    for (const bool by_name : {false, true}) {
        const auto bind = [&](void *bound, int32_t size, int32_t c_type, int32_t sql_type) {
            if (by_name) {
                return TVCIBindParamArrayByName(&stmt, "a", 1, 1, 1, bound, size, c_type, NULL,
                                                NULL, sql_type);
            }
            return TVCIBindParamArray(&stmt, 1, 1, 1, 1, bound, size, c_type, NULL, NULL, sql_type);
        };
        EXPECT_EQ(-3, bind(NULL, 4, 5, 4));
        EXPECT_EQ(-3, bind(&value, 4, 0, 4));
        EXPECT_EQ(-3, bind(&value, 4, 5, 0));
        EXPECT_EQ(-3, bind(&value, 0, 2, 12));
        EXPECT_EQ(-3, bind(&value, 0, 15, 13));
    }
    EXPECT_EQ(-3, BindArrayName(NULL, 1));
    EXPECT_EQ(NULL, stmt.params);
}

TEST_F(BindTest, AnArrayBindOfAnotherKindThan1IsMinus3) {
    for (const int32_t kind : {2, 0, 3, -1}) {
        EXPECT_EQ(-3, BindArray(1, 1, 3, kind));
        EXPECT_EQ(-3, BindArrayName("a", 1, 3, kind));
    }
    EXPECT_EQ(NULL, stmt.params);
}

TEST_F(BindTest, AnArrayOfFewerThan0RowsIsMinus3) {
    EXPECT_EQ(-3, BindArray(1, 1, -1));
    EXPECT_EQ(-3, BindArrayName("a", 1, INT32_MIN));
    EXPECT_EQ(0u, stmt.array_rows);
    EXPECT_EQ(0, BindArray(1, 1, 0));
}

TEST_F(BindTest, AnArrayBindRecordsWhatItWasGiven) {
    int32_t code = 0;
    int32_t lengths[3] = {};
    ASSERT_EQ(0, TVCIBindParamArray(&stmt, 2, 2, 1, 3, &value, 4, TVCI_C_INT, &code, lengths, 8));
    EXPECT_EQ(3u, stmt.array_rows);
    const ParamRecord *param = &stmt.params[1];
    EXPECT_EQ(1, param->bound);
    EXPECT_EQ(1, param->kind);
    EXPECT_EQ(8, param->sql_type);
    EXPECT_EQ(2, param->ordinal);
    EXPECT_EQ(3, param->bind->array_rows);
    EXPECT_EQ(&value, param->bind->value);
    EXPECT_EQ(4, param->bind->value_size);
    EXPECT_EQ(TVCI_C_INT, param->bind->c_type);
    EXPECT_EQ(&code, param->bind->return_code);
    EXPECT_EQ(lengths, param->bind->return_length);
    EXPECT_EQ(1, ListedBinds());
}

TEST_F(BindTest, TheFirstArrayBindMakesAllParameters) {
    ASSERT_EQ(0, BindArray(2, 3));
    ASSERT_EQ(3, stmt.param_count);
    EXPECT_EQ(0, stmt.params[0].bound);
    EXPECT_EQ(1, stmt.params[1].bound);
    EXPECT_EQ(0, stmt.params[2].bound);
    EXPECT_EQ(NULL, stmt.params[2].name);
    EXPECT_EQ(0, BindArray(3, 3));
    EXPECT_EQ(-8, BindArray(4, 3));
    // The array is there: the count of later calls makes none.
    EXPECT_EQ(-8, BindArray(4, 4));
    EXPECT_EQ(0, BindArray(1, 1));
    EXPECT_EQ(3, stmt.param_count);
    EXPECT_EQ(3, ListedBinds());
}

TEST_F(BindTest, AnArrayPositionThatIsNotThereIsMinus8) {
    EXPECT_EQ(-8, BindArray(0, 1));
    EXPECT_EQ(-8, BindArray(-1, 1));
    EXPECT_EQ(-8, BindArray(1, 0));
    EXPECT_EQ(-8, BindArray(1, -1));
    EXPECT_EQ(0u, stmt.array_rows);
}

TEST_F(BindTest, APreparedStatementTakesArraysForItsOwnCountOnly) {
    const char *const names[] = {"a", "b"};
    Prepare(2, names);
    EXPECT_EQ(-8, BindArray(1, 1));
    EXPECT_EQ(-8, BindArray(1, 3));
    EXPECT_EQ(0, BindArray(1, 2));
    EXPECT_EQ(-8, BindArray(3, 2));
    EXPECT_EQ(-1, BindArrayName("a", 1));
    EXPECT_EQ("", Error());
    EXPECT_EQ(0, BindArrayName("b", 2));
    EXPECT_EQ(2, ListedBinds());
}

TEST_F(BindTest, RebindingAnArrayReleasesTheFirstBind) {
    ASSERT_EQ(0, BindArray(1, 1, 3));
    const int64_t bound_blocks = MemLiveBlocks();
    ASSERT_EQ(0, BindArray(1, 1, 5));
    EXPECT_EQ(bound_blocks, MemLiveBlocks());
    EXPECT_EQ(1, ListedBinds());
    EXPECT_EQ(5u, stmt.array_rows);
    ASSERT_EQ(0, Bind(1));
    EXPECT_EQ(0, stmt.params[0].bind->array_rows);
    EXPECT_EQ(5u, stmt.array_rows);
}

TEST_F(BindTest, ByNameTheFirstUnnamedParameterIsTaken) {
    char name[] = "first";
    ASSERT_EQ(0, BindArrayName(name, 2));
    name[0] = 'x';
    ASSERT_EQ(0, BindArrayName("second", 2));
    ASSERT_EQ(0, BindArrayName("first", 2));
    EXPECT_STREQ("first", stmt.params[0].name);
    EXPECT_STREQ("second", stmt.params[1].name);
    EXPECT_EQ(1, stmt.params[0].ordinal);
    EXPECT_EQ(2, stmt.params[1].ordinal);
    EXPECT_EQ(2, ListedBinds());
}

TEST_F(BindTest, TheSearchForANameEndsAtTheFirstUnnamedParameter) {
    ASSERT_EQ(0, BindArray(1, 3));
    ASSERT_EQ(0, BindArrayName("a", 3));
    EXPECT_STREQ("a", stmt.params[0].name);
    EXPECT_EQ(1, ListedBinds());
}

TEST_F(BindTest, ANameThatNoParameterHasIsMinus1WithE19964) {
    ASSERT_EQ(0, BindArrayName("a", 1));
    EXPECT_EQ(-1, BindArrayName("A", 1));
    EXPECT_EQ("E19964: paramname bind  conflict with execute sql", Error());
    EXPECT_EQ(1, stmt.param_count);
    EXPECT_EQ(1, ListedBinds());
}

TEST_F(BindTest, ANameOnAStatementOfNoParametersIsMinus1WithE19964) {
    for (const int32_t count : {0, -1}) {
        EXPECT_EQ(-1, BindArrayName("a", count));
        EXPECT_EQ("E19964: paramname bind  conflict with execute sql", Error());
    }
}

TEST_F(BindTest, APreparedStatementOfQuestionMarksHasNoNames) {
    Prepare(1, NULL);
    EXPECT_EQ(-1, BindArrayName("a", 1));
    EXPECT_EQ("E19964: paramname bind  conflict with execute sql", Error());
    EXPECT_EQ(NULL, stmt.params[0].name);
}

TEST_F(BindTest, AnErrorThatIsThereStays) {
    ASSERT_EQ(0, ErrInfoReplace(&stmt.err, "E00001", "older"));
    EXPECT_EQ(-1, BindArrayName("a", 0));
    EXPECT_EQ("E00001:older", Error());
}

TEST_F(BindTest, WithoutMemoryAnArrayIsNotBound) {
    for (const uint64_t n : {1, 2, 3}) {
        MemFailAt(n);
        EXPECT_EQ(-5, BindArrayName("a", 2));
        EXPECT_TRUE(MemFailed());
        EXPECT_EQ(0, ListedBinds());
        EXPECT_EQ(0u, stmt.array_rows);
        MemFailAt(0);
        ParamsFree(&stmt);
    }
    for (const uint64_t n : {1, 2}) {
        MemFailAt(n);
        EXPECT_EQ(-5, BindArray(1, 2));
        EXPECT_EQ(0, ListedBinds());
        EXPECT_EQ(0u, stmt.array_rows);
        MemFailAt(0);
        ParamsFree(&stmt);
    }
    EXPECT_EQ(0, BindArray(1, 2));
}

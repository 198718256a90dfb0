// The scan for parameter markers: what is a marker, what is not, and what the parameters become.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diag/error.h"
#include "platform/memory.h"
#include "records/handles.h"
#include "stmt/prepare.h"
#include "stmt/statement.h"
#include "support/native_rig.h"

struct ScanRig {
    NativeRig handles;
    TVCIStmt *stmt = handles.NewStmt();
    int32_t value = 0;

    bool Scan(const char *text) {
        EXPECT_TRUE(StmtSetText(stmt, text, -1));
        return ParamScan(stmt);
    }

    bool ScanForDirect(const char *text) {
        EXPECT_TRUE(StmtSetText(stmt, text, -1));
        return ParamsForDirect(stmt);
    }

    // The ordinals and names, as "1:a 2:b", with "?" for a parameter without a name.
    std::string Params() {
        std::string text;
        for (int32_t i = 0; i < stmt->param_count; i++) {
            const ParamRecord *param = &stmt->params[i];
            text += (i == 0 ? "" : " ") + std::to_string(param->ordinal) +
                    (param->name == nullptr ? "?" : ":" + std::string(param->name));
        }
        return text;
    }

    std::string ParamsOf(const char *text) {
        return Scan(text) ? Params() : "conflict";
    }

    std::string Error() {
        char code[7];
        char message[513] = {};
        uint32_t length = 0;
        if (!ErrInfoCode(&stmt->err, code)) return "none";
        ErrInfoCopy(&stmt->err, code, message, 512, &length);
        return std::string(code) + "|" + std::string(message, length);
    }

    void BindByPosition(int32_t position) {
        ASSERT_EQ(0, TVCIBindParam(stmt, position, 1, &value, 4, TVCI_C_INT, nullptr, nullptr, 4));
    }

    void BindByName(const char *name) {
        ASSERT_EQ(0,
                  TVCIBindParamByName(stmt, name, 1, &value, 4, TVCI_C_INT, nullptr, nullptr, 4));
    }
};

TEST(ParamScan, QuestionMarksAreNumberedAndNameless) {
    ScanRig rig;
    EXPECT_EQ("1? 2? 3?", rig.ParamsOf("insert into t values (?, ?,?)"));
}

TEST(ParamScan, TextWithoutMarkersHasNoParameters) {
    ScanRig rig;
    EXPECT_EQ("", rig.ParamsOf("select 1"));
    EXPECT_EQ("", rig.ParamsOf(""));
    EXPECT_EQ(nullptr, rig.stmt->params);
}

TEST(ParamScan, TextWithoutMarkersDropsEarlierParameters) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("?"));
    EXPECT_EQ("", rig.ParamsOf("select 1"));
    EXPECT_EQ(0, rig.stmt->param_count);
}

TEST(ParamScan, MixOfQuestionMarkAndNameIsAConflict) {
    ScanRig rig;
    EXPECT_EQ("conflict", rig.ParamsOf("select ? , :a"));
    EXPECT_EQ("E19963| params bind  conflicted in execute sql", rig.Error());
    EXPECT_EQ(0, rig.stmt->param_count);
}

TEST(ParamScan, NameBeforeAQuestionMarkIsAConflict) {
    ScanRig rig;
    EXPECT_EQ("conflict", rig.ParamsOf("select :a , ?"));
    EXPECT_EQ("E19963| params bind  conflicted in execute sql", rig.Error());
}

TEST(ParamScan, ConflictKeepsTheParametersThatWereThere) {
    ScanRig rig;
    EXPECT_EQ("1? 2?", rig.ParamsOf("? ?"));
    EXPECT_EQ("conflict", rig.ParamsOf(":a ?"));
    EXPECT_EQ("1? 2?", rig.Params());
}

TEST(ParamScan, ConflictLeavesAnOlderErrorAlone) {
    ScanRig rig;
    ErrInfoRaiseText(rig.stmt, "E00001", "older");
    EXPECT_EQ("conflict", rig.ParamsOf("? :a"));
    EXPECT_EQ("E00001|older", rig.Error());
}

TEST(ParamScan, NamedMarkerInALiteralIsNotSeen) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("select ':name' , ?"));
}

TEST(ParamScan, LiteralEndsAtALoneQuoteOnly) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("select 'it''s ?' , ?"));
    EXPECT_EQ("1?", rig.ParamsOf("select 'it\\'s ?' , ?"));
    EXPECT_EQ("", rig.ParamsOf("select 'open ? , ?"));
}

TEST(ParamScan, MarkerInAQuotedNameIsNotSeen) {
    ScanRig rig;
    EXPECT_EQ("1:a", rig.ParamsOf("select \"what?\" , :a"));
    EXPECT_EQ("1:a", rig.ParamsOf("select \"a\\\"?\" , :a"));
}

TEST(ParamScan, NameThatStandsTwiceIsOneParameter) {
    ScanRig rig;
    EXPECT_EQ("1:a 2:b", rig.ParamsOf("values (:a, :b, :a)"));
}

TEST(ParamScan, NamesAreToldApartByCase) {
    ScanRig rig;
    EXPECT_EQ("1:a 2:A 3:ab", rig.ParamsOf(":a :A :ab :a"));
    EXPECT_EQ("1:ab 2:a", rig.ParamsOf(":ab :a"));
}

TEST(ParamScan, ColonEqualsIsNoMarker) {
    ScanRig rig;
    EXPECT_EQ("", rig.ParamsOf("begin x := 1; end"));
    EXPECT_EQ("1:y", rig.ParamsOf("begin x := :y; end"));
}

TEST(ParamScan, DoubleColonBehindAnIdentifierIsNoMarker) {
    ScanRig rig;
    EXPECT_EQ("", rig.ParamsOf("select x::int"));
    EXPECT_EQ("1:y", rig.ParamsOf("select x:::y"));
}

TEST(ParamScan, DoubleColonBehindALiteralMakesANamedMarker) {
    ScanRig rig;
    EXPECT_EQ("1:int", rig.ParamsOf("select '1'::int"));
    EXPECT_EQ("1:int", rig.ParamsOf("select \"c\"::int"));
    EXPECT_EQ("1:int", rig.ParamsOf("select /* c */::int"));
}

TEST(ParamScan, DoubleColonBehindAQuestionMarkIsAConflict) {
    ScanRig rig;
    EXPECT_EQ("conflict", rig.ParamsOf("select ?::int"));
}

TEST(ParamScan, DoubleColonAtTheStartMakesANamedMarker) {
    ScanRig rig;
    EXPECT_EQ("1:int", rig.ParamsOf("::int"));
}

TEST(ParamScan, MarkerInALineCommentIsNone) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("select 1 -- ? :a\n , ?"));
    EXPECT_EQ("1?", rig.ParamsOf("select 1 -- ? :a\r , ?"));
    EXPECT_EQ("", rig.ParamsOf("select 1 -- ?"));
}

TEST(ParamScan, EndOfALineCommentIsAnOrdinaryCharacter) {
    ScanRig rig;
    EXPECT_EQ("", rig.ParamsOf("-- ?\n::int"));
}

TEST(ParamScan, MarkerInABlockCommentIsNone) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("select /* ? :a * / ' */ ?"));
    EXPECT_EQ("1?", rig.ParamsOf("/**/?"));
}

TEST(ParamScan, OpenBlockCommentEndsWithTheText) {
    ScanRig rig;
    EXPECT_EQ("1?", rig.ParamsOf("select ? /* ? :a"));
    EXPECT_EQ("", rig.ParamsOf("select 1 /*?"));
    EXPECT_EQ("", rig.ParamsOf("/*/ ?"));
}

TEST(ParamScan, SingleDashAndSlashAreOrdinary) {
    ScanRig rig;
    EXPECT_EQ("1:a 2:b 3:c", rig.ParamsOf(":a-:b/:c"));
}

TEST(ParamScan, NameEndsAtItsTenStopsOnly) {
    ScanRig rig;
    EXPECT_EQ("1:a 2:b 3:c 4:d 5:e 6:f 7:g 8:h 9:i 10:j",
              rig.ParamsOf("(:a):b*:c+:d,:e-:f/:g;:h :i\n:j\r"));
    EXPECT_EQ("1:a=:b", rig.ParamsOf("x = :a=:b"));
    EXPECT_EQ("1:a.b", rig.ParamsOf(":a.b"));
    EXPECT_EQ("1:a\t(b'c", rig.ParamsOf(":a\t(b'c d"));
    EXPECT_EQ("1:a\\", rig.ParamsOf(":a\\ b"));
}

TEST(ParamScan, ColonAtTheEndIsAMarkerWithAnEmptyName) {
    ScanRig rig;
    EXPECT_EQ("1:", rig.ParamsOf("select :"));
    EXPECT_EQ("1: 2:a", rig.ParamsOf("select : , :a"));
}

TEST(ParamScan, MoreThanTwoHundredNamesGrowTheTable) {
    ScanRig rig;
    std::string text;
    for (int32_t i = 0; i < 1001; i++) {
        text += ":n" + std::to_string(i) + " ";
    }
    ASSERT_TRUE(rig.Scan((text + text).c_str()));
    ASSERT_EQ(1001, rig.stmt->param_count);
    EXPECT_STREQ("n0", rig.stmt->params[0].name);
    EXPECT_STREQ("n199", rig.stmt->params[199].name);
    EXPECT_STREQ("n200", rig.stmt->params[200].name);
    EXPECT_STREQ("n1000", rig.stmt->params[1000].name);
    EXPECT_EQ(1001, rig.stmt->params[1000].ordinal);
}

TEST(ParamScan, ShortMemoryIsAnErrorThatLeavesNothingBehind) {
    for (uint64_t n = 1;; n++) {
        ScanRig rig;
        ASSERT_TRUE(StmtSetText(rig.stmt, "values (:a, :b)", -1));
        const int64_t blocks = MemLiveBlocks();
        MemFailAt(n);
        const bool scanned = ParamScan(rig.stmt);
        const bool failed = MemFailed();
        MemFailAt(0);
        if (!failed) {
            EXPECT_TRUE(scanned);
            // The name table, two names and the records.
            EXPECT_EQ(5u, n);
            break;
        }
        EXPECT_FALSE(scanned);
        EXPECT_EQ("E19960|Memory allocate error ", rig.Error());
        EXPECT_EQ(0, rig.stmt->param_count);
        ErrInfoFree(&rig.stmt->err);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }
}

TEST(ParamScan, NewParametersReplaceTheOldOnesWithTheirBinds) {
    ScanRig rig;
    const int64_t blocks = MemLiveBlocks();
    rig.BindByPosition(1);
    rig.BindByPosition(2);
    EXPECT_EQ("1:a", rig.ParamsOf("select :a"));
    EXPECT_EQ(nullptr, rig.stmt->params[0].bind);
    EXPECT_TRUE(ListEmpty(&rig.stmt->binds));
    EXPECT_EQ("", rig.ParamsOf(""));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ParamsForDirect, QuestionMarksKeepTheBindsByPosition) {
    ScanRig rig;
    rig.BindByPosition(1);
    rig.BindByPosition(2);
    const ParamRecord *params = rig.stmt->params;
    EXPECT_TRUE(rig.ScanForDirect("values (?, ?)"));
    EXPECT_EQ(params, rig.stmt->params);
    EXPECT_EQ(1, rig.stmt->params[1].bound);
}

TEST(ParamsForDirect, NamedBindsFollowTheirNames) {
    ScanRig rig;
    rig.BindByName("a");
    rig.BindByName("b");
    BindRecord *bind_a = rig.stmt->params[0].bind;
    BindRecord *bind_b = rig.stmt->params[1].bind;
    EXPECT_TRUE(rig.ScanForDirect("values (:b, :a)"));
    EXPECT_EQ("1:b 2:a", rig.Params());
    EXPECT_EQ(bind_b, rig.stmt->params[0].bind);
    EXPECT_EQ(bind_a, rig.stmt->params[1].bind);
    EXPECT_EQ(1, rig.stmt->params[0].bound);
    EXPECT_EQ(1, rig.stmt->params[0].kind);
    EXPECT_EQ(4, rig.stmt->params[0].sql_type);
}

TEST(ParamsForDirect, OldNameThatIsMissingIsRefusedWithoutAnError) {
    ScanRig rig;
    rig.BindByName("a");
    rig.BindByName("b");
    EXPECT_FALSE(rig.ScanForDirect("values (:a, :c)"));
    EXPECT_EQ("none", rig.Error());
    EXPECT_EQ("1:a 2:b", rig.Params());
    EXPECT_NE(nullptr, rig.stmt->params[0].bind);
}

TEST(ParamsForDirect, BindsByPositionDoNotFitNames) {
    ScanRig rig;
    rig.BindByPosition(1);
    EXPECT_FALSE(rig.ScanForDirect("values (:a)"));
    EXPECT_EQ("none", rig.Error());
    EXPECT_EQ("1?", rig.Params());
}

TEST(ParamsForDirect, OtherCountIsRefusedAndTheNewParametersStay) {
    ScanRig rig;
    rig.BindByPosition(1);
    EXPECT_FALSE(rig.ScanForDirect("values (?, ?)"));
    EXPECT_EQ("E19962| params bind num conflict with execute sql", rig.Error());
    EXPECT_EQ("1? 2?", rig.Params());
    EXPECT_EQ(0, rig.stmt->params[0].bound);
    EXPECT_TRUE(rig.ScanForDirect("values (?, ?)"));
}

TEST(ParamsForDirect, FewerMarkersThanBindsAreAnotherCountToo) {
    ScanRig rig;
    rig.BindByName("a");
    rig.BindByName("b");
    EXPECT_FALSE(rig.ScanForDirect("values (:a)"));
    EXPECT_EQ("E19962| params bind num conflict with execute sql", rig.Error());
    EXPECT_EQ("1:a", rig.Params());
    EXPECT_EQ(0, rig.stmt->params[0].bound);
}

TEST(ParamsForDirect, OtherCountLeavesAnOlderErrorAlone) {
    ScanRig rig;
    ErrInfoRaiseText(rig.stmt, "E00001", "older");
    EXPECT_FALSE(rig.ScanForDirect("?"));
    EXPECT_EQ("E00001|older", rig.Error());
}

TEST(ParamsForDirect, NoMarkersAcceptAnyBinds) {
    ScanRig rig;
    rig.BindByPosition(1);
    EXPECT_TRUE(rig.ScanForDirect("select 1"));
    EXPECT_EQ(0, rig.stmt->param_count);
}

TEST(ParamsForDirect, MixedMarkersCarryTheErrorOfTheScan) {
    ScanRig rig;
    EXPECT_FALSE(rig.ScanForDirect("? :a"));
    EXPECT_EQ("E19963| params bind  conflicted in execute sql", rig.Error());
}

TEST(ParamsForDirect, ScanWithoutRoomForItsErrorCarriesThatOfTheExecution) {
    ScanRig rig;
    ASSERT_TRUE(StmtSetText(rig.stmt, "? :a", -1));
    // The name table is had; the scan's error record is not.
    MemFailAt(2);
    EXPECT_FALSE(ParamsForDirect(rig.stmt));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ("E19961| params bind  conflict with execute sql", rig.Error());
}

TEST(CopySqlText, LengthMinusOneIsTheTextsOwn) {
    char *copy = CopySqlText("select 1", -1);
    EXPECT_STREQ("select 1", copy);
    MemFree(copy);
}

TEST(CopySqlText, LengthCutsTheText) {
    char *copy = CopySqlText("select 1", 6);
    EXPECT_STREQ("select", copy);
    MemFree(copy);
    copy = CopySqlText("select 1", 0);
    EXPECT_STREQ("", copy);
    MemFree(copy);
}

TEST(CopySqlText, NullTextGivesTheEmptyText) {
    char *copy = CopySqlText(nullptr, 5);
    EXPECT_STREQ("", copy);
    MemFree(copy);
}

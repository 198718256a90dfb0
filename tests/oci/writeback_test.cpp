// The write-back of large values: the UPDATE that is made of a select, and what a commit sends.
#include "oci/lob_writeback.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "oci/records.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "support/stmt_rig.h"

namespace {

// One define of a statement that was never connected.
struct DefineOf {
    uint32_t position;
    uint32_t dty;
};

// The UPDATE for a select with these defines.
std::string UpdateOf(const std::string &select, const std::vector<DefineOf> &defines) {
    OCIStmt stmt = {};
    std::string text = select;
    std::vector<OCIDefine> records(defines.size());
    std::vector<OCIDefine *> pointers;
    for (size_t i = 0; i < defines.size(); i++) {
        records[i].position = defines[i].position;
        records[i].dty = defines[i].dty;
        pointers.push_back(&records[i]);
    }
    stmt.text = text.data();
    stmt.defines = pointers.data();
    stmt.define_count = (int32_t)defines.size();
    char *update = LobUpdateText(&stmt);
    const std::string made = update == nullptr ? "no text" : update;
    MemFree(update);
    return made;
}

// The same for one BLOB.
std::string UpdateOfOne(const std::string &select, uint32_t position = 1) {
    return UpdateOf(select, {{position, DTY_BLOB}});
}

}  // namespace

TEST(LobUpdate, OneLobColumn) {
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''", UpdateOfOne("select L from T"));
}

TEST(LobUpdate, TwoLobColumns) {
    EXPECT_EQ("update \"T\" set \"A\" = ?, \"B\" = ? where rowid = ''",
              UpdateOf("select A, B from T", {{1, DTY_BLOB}, {2, DTY_CLOB}}));
    EXPECT_EQ("update \"T\" set \"B\" = ?, \"A\" = ? where rowid = ''",
              UpdateOf("select A, B from T", {{2, DTY_BLOB}, {1, DTY_CLOB}}))
        << "in the order of the defines";
}

TEST(LobUpdate, ALobBehindAnIntegerHasACommaStraightAfterTheWordSet) {
    EXPECT_EQ("update \"T\" set , \"L\" = ? where rowid = ''",
              UpdateOf("select ID, L from T", {{1, DTY_INT}, {2, DTY_BLOB}}));
    EXPECT_EQ("update \"T\" set , \"L\" = ?, \"M\" = ? where rowid = ''",
              UpdateOf("select ID, L, N, M from T",
                       {{1, DTY_INT}, {2, DTY_BLOB}, {3, DTY_STR}, {4, DTY_CLOB}}));
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''",
              UpdateOf("select ID, L from T", {{2, DTY_BLOB}, {1, DTY_INT}}))
        << "unless it was defined first";
}

TEST(LobUpdate, TheTableNameKeepsItsCase) {
    EXPECT_EQ("update \"MyDocs\" set \"Body\" = ? where rowid = ''",
              UpdateOfOne("SeLeCt Body FrOm MyDocs WHERE Id = 3"));
}

TEST(LobUpdate, AnAliasedItemGivesTheWordBeforeTheAlias) {
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''",
              UpdateOfOne("select L as Contents, ID from T"));
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''",
              UpdateOfOne("select\r\n\tID  I,\n\t L\tX\nfrom\r\n\t T\nwhere ID = 1", 2));
}

TEST(LobUpdate, WhateverStandsBehindFromIsTheTable) {
    EXPECT_EQ("update \"A,\" set \"L\" = ? where rowid = ''",
              UpdateOfOne("select L from A, B where A.K = B.K"));
    EXPECT_EQ("update \"S.T\" set \"L\" = ? where rowid = ''", UpdateOfOne("select L from S.T"));
    EXPECT_EQ("update \"(select\" set \"L\" = ? where rowid = ''",
              UpdateOfOne("select L from (select L from T)"));
    EXPECT_EQ("update \"\"T\"\" set \"\"L\"\" = ? where rowid = ''",
              UpdateOfOne("select \"L\" from \"T\""));
    EXPECT_EQ("update \"T;\" set \"L\" = ? where rowid = ''", UpdateOfOne("select L from T;"));
    EXPECT_EQ("update \"\" set \"L\" = ? where rowid = ''", UpdateOfOne("select L from  "));
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''", UpdateOfOne("select L fromT"));
}

TEST(LobUpdate, TheWordFromInsideAColumnNameEndsTheList) {
    EXPECT_EQ("update \"_date,\" set \"\" = ? where rowid = ''",
              UpdateOfOne("select L, from_date, X from T", 3));
    EXPECT_EQ("update \"age,\" set \"\" = ? where rowid = ''",
              UpdateOfOne("select fromage, L from T", 2));
}

TEST(LobUpdate, TheCharacterBeforeFromIsNotInTheList) {
    EXPECT_EQ("update \"T\" set \"(L\" = ? where rowid = ''", UpdateOfOne("select (L)from T"));
    EXPECT_EQ("update \"T\" set \"\" = ? where rowid = ''", UpdateOfOne("selectfrom T"));
}

TEST(LobUpdate, WithoutAFromTheListGoesToTheEndAndTheTableIsEmpty) {
    EXPECT_EQ("update \"\" set \"M\" = ? where rowid = ''", UpdateOfOne("select L, M", 2));
}

TEST(LobUpdate, ACommaInAFunctionCallShiftsThePositions) {
    EXPECT_EQ("update \"T\" set \"B)\" = ? where rowid = ''",
              UpdateOfOne("select F(A,B), L from T", 2));
}

TEST(LobUpdate, AnEmptyItemCountsAndGivesAnEmptyName) {
    EXPECT_EQ("update \"T\" set \"\" = ? where rowid = ''", UpdateOfOne("select A,,L from T", 2));
    EXPECT_EQ("update \"T\" set \"L\" = ? where rowid = ''", UpdateOfOne("select A,,L from T", 3));
    EXPECT_EQ("update \"T\" set \"\" = ? where rowid = ''", UpdateOfOne("select L, from T", 2));
}

TEST(LobUpdate, APositionBehindTheListGivesAnEmptyName) {
    EXPECT_EQ("update \"T\" set \"\" = ? where rowid = ''", UpdateOfOne("select * from T", 2));
}

TEST(LobUpdate, NamesAndTextsMayBeLong) {
    const std::string table(2000, 'T');
    const std::string column(60, 'c');
    EXPECT_EQ("update \"" + table + "\" set \"" + column + "\" = ? where rowid = ''",
              UpdateOfOne("select " + column + " from " + table));
    std::string select = "select a";
    for (int i = 2; i <= 1500; i++) {
        select += ",c" + std::to_string(i);
    }
    EXPECT_EQ("update \"T\" set \"c1500\" = ? where rowid = ''",
              UpdateOfOne(select + " from T", 1500));
}

TEST(LobUpdate, WithoutMemoryThereIsNoText) {
    MemFailAt(1);
    EXPECT_EQ("no text", UpdateOfOne("select L from T"));
    MemFailAt(2);
    EXPECT_EQ("no text", UpdateOfOne("select L from " + std::string(2000, 'T')));
    MemFailAt(0);
}

namespace {

const Bytes OLD = Ascii("old value");

// A select that was executed, its first row fetched into locators.
struct WriteBackRig : StmtRig {
    OCIStmt *stmt = nullptr;
    int next_number = 1;

    WriteBackRig() {
        Logon();
    }

    // Prepares a select of large values, one locator for each type given.
    void Select(const std::string &select, const std::vector<int> &dtys) {
        stmt = Prepare(select);
        for (size_t i = 0; i < dtys.size(); i++) {
            NewLocator();
        }
        for (size_t i = 0; i < dtys.size(); i++) {
            DefineLob((uint32_t)i + 1, i, dtys[i]);
        }
    }

    void DefineLob(uint32_t position, size_t locator, int dty) {
        ASSERT_EQ(0, Define(stmt, position, &locators[locator], 0, dty)) << Error();
    }

    // Executes, and fetches the first of the rows.
    void Run(const std::vector<Bytes> &columns, const std::vector<Bytes> &rows) {
        Bytes answer = Result(columns);
        for (const Bytes &row : rows) {
            answer = answer + row;
        }
        AnswerExecute(answer + Ascii("K"));
        ASSERT_EQ(0, Execute(stmt, 1)) << Error();
    }

    // One BLOB column, selected and fetched.
    void SelectOne(const std::string &select = "SELECT L FROM Docs") {
        Select(select, {DTY_BLOB});
        Run({Column("L", 34)}, {Row({OLD})});
    }

    void Write(const std::string &bytes, size_t locator = 0) {
        uint32_t amount = (uint32_t)bytes.size();
        std::string copy = bytes;
        ASSERT_EQ(0, OCILobWrite(svc, err, locators[locator], &amount, 1, copy.data(), amount,
                                 OCI_ONE_PIECE, nullptr, nullptr, 0, 0));
    }

    // Scripts the exchanges of a write-back up to its execution.
    void ScriptPrepare(const std::string &update) {
        const std::string old_name = "ST" + std::to_string(next_number - 1);
        const std::string name = "ST" + std::to_string(next_number++);
        Exchange(Frame("DEALLOCATE " + old_name + ";"), Ascii("K"));
        Exchange(Frame("PREPARE " + name + " AS " + update), Ascii("K"));
    }

    // Scripts a write-back whose execution sends these parameters.
    void ScriptWriteBack(const std::string &update, const std::vector<Bytes> &params,
                         const Bytes &answer = Hex("'U' 00000001 'K'")) {
        ScriptPrepare(update);
        Bytes request =
            FrameArgs("? ST" + std::to_string(next_number - 1) + " ", (uint32_t)params.size());
        for (const Bytes &param : params) {
            request = request + param;
        }
        Exchange(request, answer);
    }

    int32_t Commit() {
        return OCITransCommit(svc, err, 0);
    }
};

// A parameter without a name: a BLOB or a CLOB of these bytes.
Bytes Blob(const std::string &bytes) {
    return Hex("0000 0001 0022") + Counted(bytes);
}
Bytes Clob(const std::string &bytes) {
    return Hex("0000 0001 0020") + Counted(bytes);
}

const std::string UPDATE_DOCS = "update \"Docs\" set \"L\" = ? where rowid = 'AAAA0001'";

}  // namespace

TEST(WriteBack, OneLobColumnSendsTheseBytesAndThenTheCommit) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.peer.Expect(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(
        Hex("3F 00000041 'PREPARE ST1 AS update \"Docs\" set \"L\" = ? "
            "where rowid = ''AAAA0001''' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(
        Hex("3F 00000006 '? ST1 ' 00 00000001 "
            "0000 0001 0022 00000003 'new'"));
    rig.peer.Send(Hex("'U' 00000001 'K'"));
    rig.peer.Expect(Hex("3F 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, rig.Commit());
    EXPECT_EQ(1, rig.stmt->lob_dirty) << "it is not cleared";
    EXPECT_EQ(1u, rig.stmt->defines[0]->lob_bind_position);
}

TEST(WriteBack, TwoLobColumnsGoTogetherAndTheUnwrittenOneAsItWasFetched) {
    WriteBackRig rig;
    rig.Select("SELECT Memo, Body FROM Docs WHERE Id = 7", {DTY_CLOB, DTY_BLOB});
    rig.Run({Column("Memo", 32), Column("Body", 34)}, {Row({Ascii("memo"), Ascii("body")})});
    rig.Write("new body", 1);
    rig.ScriptWriteBack("update \"Docs\" set \"Memo\" = ?, \"Body\" = ? where rowid = 'AAAA0001'",
                        {Clob("memo"), Blob("new body")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    EXPECT_EQ(1u, rig.stmt->defines[0]->lob_bind_position);
    EXPECT_EQ(2u, rig.stmt->defines[1]->lob_bind_position);
    EXPECT_EQ(0, rig.locators[0]->native_lob->borrowed) << "its rows are gone";
}

TEST(WriteBack, AnUnwrittenNullStaysNull) {
    WriteBackRig rig;
    rig.Select("SELECT A, B FROM T", {DTY_BLOB, DTY_BLOB});
    rig.Run({Column("A", 34), Column("B", 34)}, {Row({Ascii("a"), Bytes()})});
    rig.Write("x", 0);
    rig.ScriptWriteBack("update \"T\" set \"A\" = ?, \"B\" = ? where rowid = 'AAAA0001'",
                        {Blob("x"), Blob("")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, ALobThatIsNotTheFirstDefineIsRefusedByTheServerAndTheCommitGoesOn) {
    WriteBackRig rig;
    rig.stmt = rig.Prepare("SELECT Id, L FROM T");
    int32_t id = 0;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &id, 4, DTY_INT));
    rig.NewLocator();
    rig.DefineLob(2, 0, DTY_BLOB);
    rig.Run({Column("Id", 5), Column("L", 34)}, {Row({Hex("00000007"), OLD})});
    rig.Write("new");
    rig.peer.Expect(Frame("DEALLOCATE ST0;"));
    rig.peer.Send(Ascii("K"));
    rig.peer.Expect(Frame("PREPARE ST1 AS update \"T\" set , \"L\" = ? where rowid = 'AAAA0001'"));
    rig.peer.Send(Refusal("[E10049]syntax error"));
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit()) << "nothing was executed";
    EXPECT_EQ(7, id);
}

TEST(WriteBack, AnAliasAndATableInMixedCase) {
    WriteBackRig rig;
    rig.Select("select Body Contents, Id from MyDocs", {DTY_BLOB});
    rig.Run({Column("Contents", 34), Column("Id", 5)}, {Row({OLD, Hex("00000007")})});
    rig.Write("new");
    rig.ScriptWriteBack("update \"MyDocs\" set \"Body\" = ? where rowid = 'AAAA0001'",
                        {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, ARefusedExecutionDoesNotStopTheCommit) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")}, Refusal("[E16001]no"));
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, ResultIsThatOfTheExecution) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")}, Refusal("[E16001]no"));
    EXPECT_EQ(-1, LobWriteBack(rig.stmt));
}

TEST(WriteBack, NoLobWasWrittenSoTheSelectStaysUsable) {
    WriteBackRig rig;
    rig.Select("SELECT L FROM Docs", {DTY_BLOB});
    rig.Run({Column("L", 34)}, {Row({OLD}), Row({Ascii("second")})});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    const LobRecord *lob = rig.locators[0]->native_lob;
    EXPECT_EQ("second", std::string((const char *)lob->data, (size_t)lob->length));
}

TEST(WriteBack, ASecondCommitRepeatsItWithAnEmptyRowid) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    rig.ScriptWriteBack("update \"Docs\" set \"L\" = ? where rowid = ''", {Blob("new")},
                        Hex("'U' 00000000 'K'"));
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, TheSelectIsGoneAfterwards) {
    WriteBackRig rig;
    rig.Select("SELECT L FROM Docs", {DTY_BLOB});
    rig.Run({Column("L", 34)}, {Row({OLD}), Row({Ascii("second")})});
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob("new"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0)) << "an execution runs the UPDATE";
}

TEST(WriteBack, BehindTheLastRowThereIsNoRowid) {
    WriteBackRig rig;
    rig.SelectOne();
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 1));
    rig.Write("new");
    rig.ScriptWriteBack("update \"Docs\" set \"L\" = ? where rowid = ''", {Blob("new")},
                        Hex("'U' 00000000 'K'"));
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, TheRowidIsTheColumnBehindTheItemsOfTheText) {
    WriteBackRig rig;
    rig.Select("SELECT F(A,B), L FROM T", {});
    rig.NewLocator();
    rig.DefineLob(2, 0, DTY_BLOB);
    rig.Run({Column("F", 5), Column("L", 34)}, {Row({Hex("00000007"), OLD})});
    rig.Write("new");
    // Three items, so the fourth column, which is not there.
    rig.ScriptWriteBack("update \"T\" set \"B)\" = ? where rowid = ''", {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, ARowidOf30BytesOrMoreIsCutAt30) {
    for (size_t bytes : {29, 30, 31}) {
        WriteBackRig rig;
        rig.Select("SELECT L FROM T", {DTY_BLOB});
        rig.AnswerExecute(Result({Column("L", 34)}) + Ascii("R") + Value(OLD) +
                          Value(Bytes(bytes, 'z')) + Ascii("K"));
        ASSERT_EQ(0, rig.Execute(rig.stmt, 1));
        rig.Write("new");
        rig.ScriptWriteBack("update \"T\" set \"L\" = ? where rowid = '" +
                                std::string(bytes < 30 ? bytes : 30, 'z') + "'",
                            {Blob("new")});
        rig.ScriptCommand("COMMIT;");
        EXPECT_EQ(0, rig.Commit());
    }
}

TEST(WriteBack, AFreedLocatorIsANull) {
    WriteBackRig rig;
    rig.Select("SELECT A, B FROM T", {DTY_BLOB, DTY_CLOB});
    rig.Run({Column("A", 34), Column("B", 32)}, {Row({Ascii("a"), Ascii("b")})});
    rig.Write("new", 0);
    ASSERT_EQ(0, OCIDescriptorFree(rig.locators[1], OCI_DTYPE_LOB));
    rig.locators.pop_back();
    rig.ScriptWriteBack("update \"T\" set \"A\" = ?, \"B\" = ? where rowid = 'AAAA0001'",
                        {Blob("new"), Clob("")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    rig.Exchange(FrameArgs("? ST1 ", 2) + Blob("new") + Clob(""), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0)) << "it is forgotten for good";
}

TEST(WriteBack, ALocatorThatIsFreedAfterItIsANullFromThenOn) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    ASSERT_EQ(0, OCIDescriptorFree(rig.locators[0], OCI_DTYPE_LOB));
    rig.locators.clear();
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob(""), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0));
}

TEST(WriteBack, ARedefinedColumnLeavesItsParameterWithTheOldLocator) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    rig.NewLocator();
    rig.DefineLob(1, 1, DTY_BLOB);
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob("new"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0));
    // Which may go now, and the column be defined as a text.
    ASSERT_EQ(0, OCIDescriptorFree(rig.locators[0], OCI_DTYPE_LOB));
    rig.locators.erase(rig.locators.begin());
    char text[8];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 8, DTY_STR));
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob(""), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0));
}

TEST(WriteBack, AnotherStatementsRowsInAWrittenLocatorMayGoBeforeItIsSentAgain) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
    OCIStmt *other = rig.Prepare("SELECT M FROM Docs", 2);
    ASSERT_EQ(0, rig.Define(other, 1, &rig.locators[0], 0, DTY_BLOB));
    rig.Exchange(FrameArgs("? ST2 ", 0), Result({Column("M", 34)}) + Row({OLD}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(other, 1));
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob("old value"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0)) << "what the locator holds";
    rig.Exchange(Frame("DEALLOCATE `ST2`;"), Ascii("K"));
    EXPECT_EQ(0, OCIStmtRelease(other, rig.err, nullptr, 0, 0));
    rig.Exchange(FrameArgs("? ST1 ", 1) + Blob(""), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 0));
}

TEST(WriteBack, TheMarkGoesToTheNewestStatementSoTheWriteIsLost) {
    WriteBackRig rig;
    rig.SelectOne();
    OCIStmt *newest = rig.NewStmt();
    rig.Write("new");
    EXPECT_EQ(0, rig.stmt->lob_dirty);
    EXPECT_EQ(1, newest->lob_dirty);
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, ARollbackLeavesItToTheNextCommitWithTheNewContents) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptCommand("ROLLBACK;");
    EXPECT_EQ(0, OCITransRollback(rig.svc, rig.err, 0));
    rig.Write("newer");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("newer")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, rig.Commit());
}

TEST(WriteBack, TheEndOfASessionRunsIt) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
}

TEST(WriteBack, OnlyASelectWithLobsAndATextIsWrittenBack) {
    WriteBackRig rig;
    EXPECT_EQ(-1, LobWriteBack(rig.NewStmt())) << "no text";
    OCIStmt *ddl = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(ddl, "CREATE TABLE T (L BLOB)"));
    ddl->lob_dirty = 1;
    EXPECT_EQ(-1, LobWriteBack(ddl));
    rig.SelectOne();
    EXPECT_EQ(0, LobWriteBack(rig.stmt)) << "nothing was written";
    rig.Write("new");
    rig.stmt->stmt_class = CLASS_DML;
    EXPECT_EQ(0, LobWriteBack(rig.stmt));
    rig.stmt->stmt_class = CLASS_SELECT;
    char text[8];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 8, DTY_STR));
    EXPECT_EQ(0, LobWriteBack(rig.stmt)) << "no large value is defined any more";
}

TEST(WriteBack, OfAStatementWhoseSessionIsGoneIsRefused) {
    WriteBackRig rig;
    rig.SelectOne();
    rig.Write("new");
    rig.ScriptWriteBack(UPDATE_DOCS, {Blob("new")});
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
    EXPECT_EQ(-2, LobWriteBack(rig.stmt));
}

// Commits with the n-th allocation failing, and once more without. False when there was none.
static bool CommitsWithoutAllocation(uint64_t n) {
    WriteBackRig rig;
    rig.Select("SELECT A, B FROM T", {DTY_BLOB, DTY_BLOB});
    rig.Run({Column("A", 34), Column("B", 34)}, {Row({Ascii("a"), Ascii("b")})});
    rig.Write("new", 0);
    // From here on whatever is sent is answered with the end of an answer.
    SocketSetHooks([](SocketId, const void *, size_t count) { return (int64_t)count; },
                   [](SocketId, void *target, size_t) {
                       memcpy(target, "K", 1);
                       return (int64_t)1;
                   });
    MemFailAt(n);
    EXPECT_EQ(0, rig.Commit()) << n;
    const bool failed = MemFailed();
    MemFailAt(0);
    EXPECT_EQ(0, rig.Commit()) << n;
    SocketSetHooks(nullptr, nullptr);
    return failed;
}

TEST(WriteBack, AnyAllocationMayFail) {
    const int64_t blocks = MemLiveBlocks();
    uint64_t n = 1;
    while (CommitsWithoutAllocation(n)) {
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
        n++;
    }
    EXPECT_LT(5u, n);
}

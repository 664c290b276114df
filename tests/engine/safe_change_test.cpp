#include "engine/environment/safe_change.h"

#include <functional>

#include "engine/environment/copies.h"
#include "engine/environment/kept_changes.h"
#include "tests/engine/scratch_shop.h"

namespace {

namespace fs = std::filesystem;
using engine::SafeChange;

// A change of a table, of a mail's folder and of a list that was not there, cut off in its middle.
class SafeChanges : public engine_tests::ScratchShop {
  protected:
    SafeChanges() {
        Put("shop/DB/a.dat", "old");
        Put("shop/DB/a.dat.record", "old record");
        Put("shop/MAIL/3/x", "old x");
        Put("shop/MAIL/3/sub/y", "old y");
        before_ = Everything();
    }
    void Change() const {
        Put("shop/DB/a.dat", "new");
        Put("shop/DB/a.dat.record", "new record");
        Put("shop/MAIL/list.dat", "new");
        Put("shop/MAIL/list.dat.record", "new");
        fs::remove_all(Path("shop/MAIL/3/sub"));
        Put("shop/MAIL/3/x", "new x");
    }
    void CutOff() const {
        engine::Copies copies{"", "", {}};
        for (char const* path : paths_) copies.paths.push_back({path, {}, {}});
        engine::MakeCopies(Path("shop/.undo"), Path("shop"), copies);
        Change();
    }
    // The files but for the copies.
    std::string Data() const {
        fs::rename(Path("shop/.undo"), Path("aside"));
        std::string const all = Everything();
        fs::rename(Path("aside"), Path("shop/.undo"));
        return all;
    }
    void Move(std::string const& from, std::string const& to) const {
        fs::remove_all(folder_ / to);
        fs::rename(folder_ / from, folder_ / to);
    }

    std::vector<char const*> const paths_ = {"DB/a.dat", "DB/a.dat.record", "MAIL/3", "MAIL/list.dat",
                                             "MAIL/list.dat.record"};
    std::string before_;
};

TEST_F(SafeChanges, OldOrNewAndTheRecordsWithThem) {
    std::vector<std::string> const paths = {"DB/a.dat", "MAIL/3", "MAIL/list.dat"};
    {
        SafeChange const change(Path("shop"), paths);
        Change();
    }
    EXPECT_EQ(before_, Everything());
    std::string changed;
    {
        SafeChange change(Path("shop"), paths);
        Change();
        changed = Data();
        change.Keep();
    }
    EXPECT_EQ(changed, Everything());
    EXPECT_NE(before_, changed);
}

TEST_F(SafeChanges, ACutOffChangeIsUndoneWholeOrRefused) {
    struct Row {
        char const* name;
        std::function<void()> meanwhile;
        bool refused;
    };
    Row const rows[] = {
        {"cut off", [] {}, false},
        {"a file was put back", [&] { Move("shop/.undo/0", "shop/DB/a.dat"); }, false},
        {"a folder was put back", [&] { Move("shop/.undo/2", "shop/MAIL/3"); }, false},
        {"a folder was removed", [&] { fs::remove_all(Path("shop/MAIL/3")); }, false},
        {"by an earlier version",
         [&] {
             std::string list;
             for (char const* path : paths_) list += std::string(path) + "\n";
             Put("shop/.undo/list", list);
         },
         false},
        {"a copy is damaged", [&] { Put("shop/.undo/0", "odd"); }, true},
        {"a copy is cut", [&] { Put("shop/.undo/2/sub/y", "old"); }, true},
        {"a copy is lost", [&] { fs::remove(Path("shop/.undo/0")); }, true},
        {"the list is cut", [&] { fs::resize_file(Path("shop/.undo/list"), 60); }, true},
        {"the list is empty", [&] { Put("shop/.undo/list", ""); }, true},
        {"the list is lost", [&] { fs::remove(Path("shop/.undo/list")); }, true},
    };
    for (Row const& row : rows) {
        CutOff();
        row.meanwhile();
        std::string const cut_off = Everything();
        EXPECT_EQ(row.refused ? "damaged_file" : "", FailureOf([&] { SafeChange::Recover(Path("shop")); }))
            << row.name;
        EXPECT_EQ(row.refused ? cut_off : before_, Everything()) << row.name;
        EXPECT_EQ(row.refused ? "damaged_file" : "", FailureOf([&] { Open(Session::For::reading); }))
            << row.name;
        fs::remove_all(Path("shop/.undo"));
        for (auto const& [file, content] : {std::pair{"DB/a.dat", "old"},
                                            {"DB/a.dat.record", "old record"},
                                            {"MAIL/3/x", "old x"},
                                            {"MAIL/3/sub/y", "old y"}})
            Put(std::string("shop/") + file, content);
        for (char const* file : {"shop/MAIL/list.dat", "shop/MAIL/list.dat.record"}) fs::remove(Path(file));
    }
}

TEST_F(SafeChanges, ASessionForReadingUndoesACutOffChangeToo) {
    Session session = Open(Session::For::reading);
    CutOff();
    session.WhileOthersWait([&] { EXPECT_EQ(before_, Everything()); });
}

TEST_F(SafeChanges, TheCopiesOfTheLastTenStay) {
    for (int i = 0; i < 12; ++i) {
        SafeChange change(Path("shop"), {"DB/a.dat"}, "変更" + std::to_string(i));
        Put("shop/DB/a.dat", std::to_string(i));
        change.Keep();
    }
    std::vector<engine::KeptChange> const kept = engine::KeptChanges(Path("shop"));
    ASSERT_EQ(10U, kept.size());
    EXPECT_EQ("変更2", kept[0].what);
    EXPECT_EQ("10", Content("shop/UNDO/000012/0"));
    EXPECT_FALSE(engine::ChangedSince(kept[9].folder, Path("shop")));
    EXPECT_EQ("DB/a.dat", engine::ChangedSince(kept[8].folder, Path("shop")));
    EXPECT_EQ(10U, engine::ForgetKeptChanges(Path("shop")));
    EXPECT_EQ(before_, (Put("shop/DB/a.dat", "old"), Everything()));
}

}  // namespace

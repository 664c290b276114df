#include "engine/base/front_end.h"

#include "tests/engine/scratch_shop.h"

namespace {

using FrontEndTest = engine_tests::ScratchShop;

TEST_F(FrontEndTest, HearsOfAnImportAndMayStopIt) {
    Import("メール,氏名\r\na@b.jp,一\r\nc@d.jp,二\r\n");
    EXPECT_EQ("新規 2件、更新 0件、取り込めず 0件\n", front_.results);
    EXPECT_NE(std::string::npos, front_.notices.find("使った列")) << front_.notices;
    EXPECT_EQ(std::vector<std::uint64_t>{2}, front_.totals);

    front_ = {};
    EXPECT_THROW(Import("メール,氏名\r\nnone,一\r\n"), engine::Failure);
    EXPECT_NE(std::string::npos, front_.notices.find("2行: ")) << front_.notices;

    front_ = {};
    front_.stop = true;
    std::string many = "メール\r\n";
    for (int i = 0; i < 200000; ++i) many += "x" + std::to_string(i) + "@b.jp\r\n";
    try {
        Import(many);
    } catch (engine::Failure const&) {
    }
    EXPECT_NE(std::string::npos, front_.notices.find("途中で止めました")) << front_.notices;
}

TEST_F(FrontEndTest, GivesThePassword) {
    using engine::Session;
    EXPECT_NO_THROW(Session(access_, Path("shop.tsl"), Session::For::reading));
    front_.password = "違う";
    EXPECT_THROW(Session(access_, Path("shop.tsl"), Session::For::reading), engine::Failure);
    access_.front = nullptr;  // no front end
    EXPECT_THROW(Session(access_, Path("shop.tsl"), Session::For::reading), engine::Failure);
}

}  // namespace

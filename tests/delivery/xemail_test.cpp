#include "delivery/xemail.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Terminals, ByTheEndOfTheAddress) {
    const struct {
        char const* address;
        TermType type;
    } rows[] = {
        {"a@docomo.ne.jp", nd},
        {"A@DoCoMo.NE.JP", nd},
        {"a..b.@docomo.ne.jp", nd},
        {"a@mail.docomo.ne.jp", pc},
        {"a@docomo.ne.jpx", pc},
        {"a@docomo.ne.jp@example.jp", pc},
        {"a@docomo.ne.jp ", pc},
        {"docomo.ne.jp", pc},
        {"@docomo.ne.jp", nd},
        {"a@eza.ido.ne.jp", at},
        {"a@EZJ.ido.ne.jp", at},
        {"a@mail.ido.ne.jp", pc},
        {"a@ez.ido.ne.jp.example.jp", pc},
        {"a@ezido.ne.jp", pc},
        {"a@ezweb.ne.jp", at},
        {"a@xx.ezweb.ne.jp", at},
        {"a@xezweb.ne.jp", pc},
        {"a@dct.dion.ne.jp", at},
        {"a@x.dct.dion.ne.jp", pc},
        {"a@dion.ne.jp", pc},
        {"a@x.sky.tkc.ne.jp", at},
        {"a@cara.tkc.ne.jp", pc},
        {"a@jp-q.ne.jp", sb},
        {"a@jp-a.ne.jp", pc},
        {"a@t.vodafone.ne.jp", sb},
        {"a@x.t.vodafone.ne.jp", pc},
        {"a@disney.ne.jp", sb},
        {"a@softbank.ne.jp", sb},
        {"a@pdx.ne.jp", wl},
        {"a@dj.pdx.ne.jp", wl},
        {"a@xpdx.ne.jp", pc},
        {"someone@example.jp", pc},
        {"", pc},
        {nullptr, pc},
    };
    for (auto const& row : rows)
        EXPECT_EQ(CXEmail::GetTermTypeFromMailAddr(row.address), row.type)
            << (row.address ? row.address : "null");
    for (char const region : std::string("dhtcrknsq")) {
        EXPECT_EQ(CXEmail::GetTermTypeFromMailAddr((std::string("a@jp-") + region + ".ne.jp").c_str()), sb);
        EXPECT_EQ(CXEmail::GetTermTypeFromMailAddr((std::string("a@") + region + ".vodafone.ne.jp").c_str()),
                  sb);
    }
}

TEST(Terminals, ComparingEnds) {
    const struct {
        char const *text, *tail;
        int result;
    } rows[] = {{"abc", "bc", 0},  {"abc", "abc", 0}, {"abc", "", 0},     {"", "", 0},
                {"bc", "abc", -1}, {"zz", "abc", -1}, {"abc", "bd", -1},  {"abc", "bb", 1},
                {"x\xFF", "a", 1}, {"a", "\xFF", -1}, {nullptr, "a", -1}, {"a", nullptr, 0}};
    for (auto const& row : rows)
        EXPECT_EQ(CXEmail::strrcmp(row.text, row.tail), row.result) << row.text << row.tail;
}

}  // namespace

#include "tessaly/delivery/xemail.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Terminals, ByTheEndOfTheAddress) {
    const struct {
        TermType type;
        std::vector<char const*> addresses;
    } rows[] = {
        {nd, {"a@docomo.ne.jp", "A@DoCoMo.NE.JP", "a..b.@docomo.ne.jp", "@docomo.ne.jp"}},
        {at,
         {"a@eza.ido.ne.jp", "a@EZJ.ido.ne.jp", "a@ezweb.ne.jp", "a@xx.ezweb.ne.jp", "a@dct.dion.ne.jp",
          "a@x.sky.tkc.ne.jp"}},
        {sb, {"a@jp-q.ne.jp", "a@t.vodafone.ne.jp", "a@disney.ne.jp", "a@softbank.ne.jp"}},
        {wl, {"a@pdx.ne.jp", "a@dj.pdx.ne.jp"}},
        {pc,
         {"a@mail.docomo.ne.jp", "a@docomo.ne.jpx", "a@docomo.ne.jp@example.jp", "a@docomo.ne.jp ",
          "docomo.ne.jp"}},
        {pc,
         {"a@mail.ido.ne.jp", "a@eza.ido.ne.jp.example.jp", "a@ezido.ne.jp", "a@xezweb.ne.jp",
          "a@x.dct.dion.ne.jp"}},
        {pc,
         {"a@dion.ne.jp", "a@cara.tkc.ne.jp", "a@jp-a.ne.jp", "a@x.t.vodafone.ne.jp", "a@xpdx.ne.jp", "",
          nullptr}},
    };
    for (auto const& row : rows)
        for (char const* const address : row.addresses)
            EXPECT_EQ(CXEmail::GetTermTypeFromMailAddr(address), row.type) << (address ? address : "null");
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

#include "engine/sending/recipient_bounces.h"

#include <gtest/gtest.h>

namespace {

TEST(RecipientBounces, GoByStatusThenByCodeAndWording) {
    using engine::Bounce;
    struct Row {
        int code;
        char const *enhanced, *text;
        std::optional<Bounce> bounce;
    };
    Row const rows[] = {
        {550, "5.1.1", "送れません. [550 5.1.1 unknown]", Bounce::hard},
        {550, "5.2.1", "送れません. [550 5.2.1 disabled]", Bounce::hard},
        {550, "", "送れません. [550 <blocked@x.jp>... User unknown]", Bounce::hard},
        {552, "5.2.2", "[552 5.2.2 Mailbox full]", Bounce::soft},
        {552, "", "552 Quota exceeded", Bounce::soft},
        {550, "", "送れません. [550 no]", Bounce::soft},
        {550, "5.7.1", "[550 5.7.1 refused by policy]", {}},
        {554, "", "554 Blocked by spamhaus", {}},
    };
    for (Row const& row : rows)
        EXPECT_EQ(row.bounce, engine::BounceOf(row.code, row.enhanced, row.text)) << row.text << row.enhanced;
}

}  // namespace

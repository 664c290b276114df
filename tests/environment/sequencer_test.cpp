#include "tessaly/environment/sequencer.h"

#include <gtest/gtest.h>

#include <climits>

#include "tessaly/environment/env_manager.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

using enum environment::SeqIDType;

namespace {

class SequencerTest : public testing::Test {
  protected:
    SequencerTest() {
        env_.InitEnvFileInfo(folder_.Path("shop.tsl"), nullptr, 1);
        for (char const* name : {"shop", "shop\\DB", "shop\\MAIL", "shop\\EXTRACT"})
            platform::MakeDirectory(folder_.Path(name));
    }
    ScratchFolder const folder_;
    EnvManager env_;
    CString const mail_ = folder_.Path("shop\\MAIL\\mailseq.dat");
};

TEST_F(SequencerTest, EachSequenceCountsFromZeroInItsOwnFile) {
    const struct {
        SeqIDType type;
        char const* file;
        int limit;
    } rows[] = {{seq_customer, "shop\\DB\\dbseq.dat", 9999999},
                {seq_mail, "shop\\MAIL\\mailseq.dat", 10000},
                {seq_extract, "shop\\EXTRACT\\extrseq.dat", 10000}};
    for (auto const& row : rows) {
        CString const path = folder_.Path(row.file);
        Sequencer sequence(&env_, row.type);
        int value = -1;
        EXPECT_NE(0, sequence.CurrentValue(&value));
        EXPECT_EQ(0, value);
        EXPECT_EQ("0", ContentOf(path));
        for (int const expected : {0, 1, 2}) {
            EXPECT_NE(0, sequence.NextValue(&value));
            EXPECT_EQ(expected, value);
        }
        EXPECT_EQ("3", ContentOf(path));
        EXPECT_NE(0, sequence.SetValue(row.limit - 1));
        EXPECT_NE(0, sequence.NextValue(&value));
        EXPECT_EQ(row.limit - 1, value);
        EXPECT_EQ(0, sequence.NextValue(&value));
        EXPECT_EQ(row.limit, value);
        EXPECT_EQ(std::to_string(row.limit), ContentOf(path));
        EXPECT_NE(0, sequence.CurrentValue(&value));  // the limit can be read, not handed out
        EXPECT_EQ(row.limit, value);
    }
}

TEST_F(SequencerTest, ReadsWhateverStandsInTheFile) {
    const struct {
        std::string content;
        bool success;
        int value;
        char const* after;
    } rows[] = {
        {"", true, 0, "1"},
        {"9", true, 9, "10"},
        {"0009", true, 9, "10"},
        {"12\r\n99", true, 12, "13"},
        {"\n5", true, 0, "1"},
        {"abc", true, 0, "1"},
        {std::string("7\0008", 3), true, 7, "8"},
        {std::string(5000, ' ') + "5", true, 0, "1"},
        {"99999999999999999999", false, INT_MAX, "99999999999999999999"},
        {"-1", false, -1, "-1"},
        {"-99999999999999999999", false, INT_MIN, "-99999999999999999999"},
    };
    Sequencer sequence(&env_, seq_mail);
    for (auto const& row : rows) {
        platform::WriteWholeFile(mail_, row.content);
        int value = 0;
        EXPECT_EQ(row.success, sequence.NextValue(&value) != 0) << row.content;
        EXPECT_EQ(row.value, value) << row.content;
        EXPECT_EQ(row.after, ContentOf(mail_)) << row.content;
    }
}

TEST_F(SequencerTest, FailuresLeaveTheFile) {
    int value = 0;
    Sequencer sequence;
    EXPECT_EQ(0, sequence.SetSeqType(seq_mail) + sequence.SetEnvManager(nullptr) + sequence.SetValue(1));
    EXPECT_NE(0, sequence.SetEnvManager(&env_));
    EXPECT_EQ(0, sequence.SetEnvManager(&env_) + sequence.SetSeqType(static_cast<SeqIDType>(3)));
    EXPECT_EQ(0, sequence.SetSeqType(seq_not_set) + sequence.NextValue(&value));
    EXPECT_NE(0, sequence.SetSeqType(seq_mail));
    EXPECT_NE(0, sequence.SetValue(100));
    EXPECT_NE(0, sequence.SetValue(5));
    EXPECT_EQ(0, sequence.SetValue(-1) + sequence.NextValue(nullptr) + sequence.CurrentValue(nullptr));
    platform::FailWritesAfter(0);
    EXPECT_EQ(0, sequence.NextValue(&value) + sequence.SetValue(1));
    platform::FailWritesAfter(-1);
    EXPECT_EQ("5", ContentOf(mail_));
    platform::RemoveFile(mail_);
    platform::RemoveDirectory(folder_.Path("shop\\MAIL"));
    EXPECT_EQ(0, sequence.NextValue(&value) + sequence.CurrentValue(&value) + sequence.SetValue(1));

    MessageBoxes const boxes;
    EXPECT_THROW(Sequencer(nullptr, seq_mail), CUserException);
    EXPECT_THROW(Sequencer(&env_, static_cast<SeqIDType>(3)), CUserException);
    EXPECT_EQ((std::vector<std::string>{"Invalid EnvManager Pointer.", "Invalid Sequence Type."}),
              boxes.Texts());
}

}  // namespace

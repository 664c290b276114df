#include "tessaly/platform/containers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

template <class List>
std::string Joined(List const& list) {
    std::string text;
    for (POSITION place = list.GetHeadPosition(); place;) text += list.GetNext(place).View();
    return text;
}

}  // namespace

TEST(Array, StaysInItsBounds) {
    CStringArray array;
    EXPECT_EQ(array.GetUpperBound(), -1);
    EXPECT_STREQ(array.GetAt(0), "");
    EXPECT_EQ(array.Add(CString("a")), 0);
    array.SetAtGrow(3, "d");
    array.SetAt(4, "never");
    array.SetAt(-1, "never");
    array.SetAtGrow(-1, "never");
    array.InsertAt(1, "b", 2);
    EXPECT_EQ(array.GetSize(), 6);
    EXPECT_STREQ(array.GetAt(2), "b");
    EXPECT_STREQ(array[5], "d");
    EXPECT_STREQ(array.GetAt(6), "");
    EXPECT_STREQ(array.GetAt(-1), "");
    array.RemoveAt(4, 2147483647);
    array.RemoveAt(9);
    array.RemoveAt(0, 0);
    array.RemoveAt(-1);
    EXPECT_EQ(array.GetSize(), 4);
    array.InsertAt(6, "g");
    EXPECT_EQ(array.GetSize(), 7);
    array.SetSize(-5);
    EXPECT_TRUE(array.IsEmpty());
}

TEST(Array, CopiesAreDeep) {
    CStringArray array;
    for (char const* text : {"a", "b", "c"}) array.Add(text);
    CStringArray copy(array), copied;
    copied.Copy(array);
    array[0] = "X";
    array.Append(copy);
    array.Append(array);
    EXPECT_EQ(array.GetCount(), 12);
    EXPECT_STREQ(array[9], "a");
    EXPECT_STREQ(copy[0], "a");
    EXPECT_STREQ(copied[0], "a");
    array.Add(array[0]);  // an item of its own, while it grows
    EXPECT_STREQ(array[12], "X");
    array.InsertAt(0, array[12], 50);
    EXPECT_STREQ(array[0], "X");
    array.SetAtGrow(array.GetSize() + 10'000, array[0]);
    EXPECT_STREQ(array[array.GetUpperBound()], "X");
    array.InsertAt(array.GetSize() + 10'000, array[0], 3);
    EXPECT_STREQ(array[array.GetUpperBound()], "X");
    array.SetAtGrow(1, array[array.GetUpperBound()]);
    EXPECT_STREQ(array[1], "X");
}

TEST(List, LinksAndUnlinks) {
    CStringList list;
    POSITION const c = list.AddTail("c");
    list.AddHead("b");
    list.AddTail("d");
    list.AddHead("a");
    EXPECT_EQ(Joined(list), "abcd");
    EXPECT_EQ(list.Find("c"), c);
    EXPECT_EQ(list.Find("x"), nullptr);
    CStringList copy(list);
    list.RemoveAt(c);
    EXPECT_EQ(Joined(list), "abd");
    EXPECT_STREQ(list.RemoveHead(), "a");
    EXPECT_STREQ(list.RemoveTail(), "d");
    EXPECT_STREQ(list.RemoveTail(), "b");
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    EXPECT_EQ(list.GetTailPosition(), nullptr);
    list.AddHead("only");
    EXPECT_STREQ(list.GetTail(), "only");
    EXPECT_EQ(Joined(copy), "abcd");

    std::string backwards;
    for (POSITION place = copy.GetTailPosition(); place;) backwards += copy.GetPrev(place).View();
    EXPECT_EQ(backwards, "dcba");
    CStringList& alias = copy;
    copy = alias;
    EXPECT_EQ(copy.GetCount(), 4);
    list = copy;
    EXPECT_EQ(Joined(list), "abcd");
    CStringList const moved(std::move(list));
    EXPECT_EQ(Joined(moved), "abcd");
    copy.RemoveAll();
    EXPECT_EQ(copy.GetCount(), 0);
}

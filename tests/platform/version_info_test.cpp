#include "platform/version_info.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "platform/file.h"
#include "scratch_folder.h"
#include "tessaly/platform/process.h"

namespace {

using namespace platform;

std::string Number(std::uint64_t number, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(number >> (8 * i));
    return bytes;
}

std::string Aligned(std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    return bytes;
}

// UTF-16 with its NUL, from code page 932 by the units given for its characters.
std::string Units(std::u16string const& text) {
    std::string bytes;
    for (char16_t const unit : text) bytes += Number(unit, 2);
    return bytes + Number(0, 2);
}

std::string Block(std::u16string const& key, std::string const& value, bool text,
                  std::string const& inner = "") {
    std::string const head = Aligned(std::string(6, '\0') + Units(key));
    std::string const block = (value.empty()   ? head
                               : inner.empty() ? head + value
                                               : Aligned(head + value)) +
                              inner;
    return Number(block.size(), 2) + Number(text ? value.size() / 2 : value.size(), 2) + Number(text, 2) +
           block.substr(6);
}

std::string Texts(std::u16string const& table) {
    std::string const strings = Aligned(Block(u"CompanyName", Units(u"\u8868\u793A \U0001F600."), true)) +
                                Aligned(Block(u"FileVersion", Units(u"1, 2, 3, 4"), true)) +
                                Aligned(Block(u"Empty", "", true)) +
                                Block(u"InternalName", Units(u"SETUP"), true);
    return Aligned(Block(u"StringFileInfo", "", true, Block(table, "", true, strings)));
}

std::string Variables() {
    std::string const translations =
        Number(0x0411, 2) + Number(0x04B0, 2) + Number(0x0409, 2) + Number(0x04E4, 2);
    return Block(u"VarFileInfo", "", true, Block(u"Translation", translations, false));
}

std::string Version(std::string const& inner) {
    return Block(u"VS_VERSION_INFO", std::string(52, 'f'), false, inner);
}

std::string Directory(std::uint32_t number, std::uint32_t offset) {
    return std::string(12, '\0') + Number(0, 2) + Number(1, 2) + Number(number, 4) + Number(offset, 4);
}

constexpr std::uint32_t resource_address = 0x3000, resource_place = 0x200;

// A program of its headers and one section, the resources.
std::string Program(std::string const& version, bool wide = false) {
    std::uint32_t const directory_size = 24;
    std::string resources = Directory(16, 0x80000000 + directory_size) +
                            Directory(1, 0x80000000 + 2 * directory_size) +
                            Directory(0x411, 3 * directory_size);
    resources +=
        Number(resource_address + resources.size() + 16, 4) + Number(version.size(), 4) + Number(932, 8);
    resources += version;
    std::string optional = Number(wide ? 0x20B : 0x10B, 2);
    optional.resize(wide ? 108 : 92, '\0');
    optional +=
        Number(16, 4) + std::string(16, '\0') + Number(resource_address, 4) + Number(resources.size(), 4);
    optional.resize(optional.size() + 13 * 8, '\0');
    std::string program = "MZ" + std::string(58, '\0') + Number(0x40, 4);
    program += std::string("PE\0\0", 4) + Number(0x14C, 2) + Number(1, 2) + std::string(12, '\0');
    program += Number(optional.size(), 2) + Number(0, 2) + optional;
    program += std::string(".rsrc\0\0\0", 8) + Number(resources.size(), 4) + Number(resource_address, 4) +
               Number(resources.size(), 4) + Number(resource_place, 4) + std::string(16, '\0');
    program.resize(resource_place, '\0');
    return program + resources;
}

class VersionInfo : public testing::Test {
  protected:
    ~VersionInfo() override { close(memory_); }
    // In memory, since damaged programs are made by the thousand.
    std::string Item(std::string const& program, char const* item) {
        EXPECT_EQ(0, ftruncate(memory_, static_cast<off_t>(program.size())));
        EXPECT_EQ(static_cast<ssize_t>(program.size()), pwrite(memory_, program.data(), program.size(), 0));
        CString value = "-";
        bool const found = VersionItem(path_.c_str(), item, value);
        EXPECT_EQ(found, value != "-");
        return std::string(value.View());
    }
    // Damages one byte after the other. The result must be the right value, another text of the file, or
    // none.
    void ExpectSomeHarm(std::string const& program, char const* right) {
        std::size_t unharmed = 0;
        for (std::size_t at = 0; at < program.size(); ++at)
            for (char const byte : {'\xFF', '\0'}) {
                std::string damaged = program;
                damaged[at] = byte;
                unharmed += Item(damaged, "InternalName") == right;
            }
        EXPECT_GT(unharmed, program.size() / 2);
        EXPECT_LT(unharmed, program.size() * 2);
    }
    ScratchFolder scratch;

  private:
    int memory_ = memfd_create("program", 0);
    std::string path_ = "C:\\proc\\self\\fd\\" + std::to_string(memory_);
};

TEST_F(VersionInfo, OfTheLibraryItself) {
    CString value;
    for (char const* item : {"FileVersion", "fileversion", "ProductVersion"}) {
        EXPECT_TRUE(VersionItem(ModulePath(nullptr), item, value)) << item;
        EXPECT_EQ(TESSALY_VERSION, value);
    }
    EXPECT_TRUE(VersionItem(ModulePath(nullptr), "InternalName", value));
    EXPECT_EQ("tessaly", value);
    for (char const* item : {"tessaly", "CompanyName", "", static_cast<char const*>(nullptr)})
        EXPECT_FALSE(VersionItem(ModulePath(nullptr), item, value));
    EXPECT_FALSE(VersionItem(ModulePath("libc.so.6"), "FileVersion", value));
    for (CString const& other :
         {scratch.Path("missing"), scratch.Path(), CString("C:\\dev\\null"), CString()})
        EXPECT_FALSE(VersionItem(other, "FileVersion", value)) << other;
    EXPECT_FALSE(VersionItem(nullptr, "FileVersion", value));
    EXPECT_EQ("tessaly", value);
}

TEST_F(VersionInfo, OfAWindowsProgram) {
    static constexpr struct {
        char const* item;
        char const* value;
    } rows[] = {
        {"FileVersion", "1, 2, 3, 4"},
        {"FILEVERSION", "1, 2, 3, 4"},
        {"InternalName", "SETUP"},
        {"CompanyName", "表示 ?."},
        {"Empty", ""},
        {"Translation", "-"},
    };
    std::string const version = Version(Texts(u"041104B0") + Variables());
    for (auto const& row : rows) {
        EXPECT_EQ(row.value, Item(Program(version), row.item));
        EXPECT_EQ(row.value, Item(Program(version, true), row.item));
    }
    EXPECT_EQ("SETUP", Item(Program(Version(Variables() + Texts(u"041104b0"))), "InternalName"));
    // The second translation does not count.
    EXPECT_EQ("-", Item(Program(Version(Texts(u"040904E4") + Variables())), "InternalName"));
    EXPECT_EQ("-", Item(Program(Version(Texts(u"041104B0"))), "InternalName"));
    EXPECT_EQ("-", Item(Program(Version(Variables())), "InternalName"));
    EXPECT_EQ("-", Item("", "InternalName"));
    EXPECT_EQ("-", Item(std::string(5000, 'M'), "InternalName"));
}

TEST_F(VersionInfo, CutAndDamagedPrograms) {
    std::string const program = Program(Version(Texts(u"041104B0") + Variables()));
    for (std::size_t size = 0; size < program.size(); ++size)
        ASSERT_EQ("-", Item(program.substr(0, size), "InternalName")) << size;
    ExpectSomeHarm(program, "SETUP");
    // The places of the new header, of the resources, and of the first directory below them.
    for (std::size_t const at : {0x3C, 0x40 + 24 + 112, 0x200 + 20})
        for (std::uint32_t const place : {0xFFFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 0x3000U + 0x10000U}) {
            std::string damaged = program;
            EXPECT_EQ("-", Item(damaged.replace(at, 4, Number(place, 4)), "InternalName"))
                << at << " " << place;
        }
}

TEST_F(VersionInfo, CutAndDamagedLibraries) {
    // The start of this program holds its headers and notes.
    std::string whole;
    ASSERT_TRUE(ReadWholeFile(ModulePath(nullptr), whole));
    std::size_t const note = whole.find(std::string_view("Tessaly\0FileVersion", 19));
    ASSERT_NE(std::string::npos, note);
    std::string const start = whole.substr(0, note + 512);
    ASSERT_EQ("tessaly", Item(start, "InternalName"));
    for (std::size_t size = 0; size <= note + 40; ++size)
        ASSERT_EQ("-", Item(start.substr(0, size), "InternalName")) << size;
    ExpectSomeHarm(start, "tessaly");
}

}  // namespace

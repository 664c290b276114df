#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// A list of events in a file of an environment, one a line, with a checksum in each line, a closing line and
// a record of the file beside it (file_record.h): a line or byte that was changed, cut off or removed is
// noticed. docs/file-formats.md has the form.
namespace engine {

class EventFile {
  public:
    using Cells = std::vector<std::string>;  // of a line; UTF-8
    using Take = std::function<void(Cells const& cells)>;

    // `file`: host path. `title` is the first line, `name` what the file is called in messages.
    EventFile(std::string file, std::string title, std::string name);

    // Gives the events of the file in their order. false for one that is not whole, of which those lines are
    // given that are as they were written. A file that was never written has no events. Throws Failure
    // (unreadable_file).
    bool Read(Take const& take);
    // The same for the text of such a file.
    bool ReadText(std::string_view text, Take const& take);
    // How many lines were not given: those that are damaged, and the places of missing ones that are known.
    std::size_t Lost() const { return lost_; }
    std::size_t Count() const { return count_; }

    // In memory. Control characters in a cell are kept.
    void Add(Cells const& cells);
    void RemoveAll();
    // Replaces the file by what was read and added. Durable when it returns, and its owner's alone. Throws
    // Failure (not_written), with the file as it was.
    void Save() const;

    // Throws the Failure (damaged_file) that names the file.
    [[noreturn]] void Refuse(std::string const& env_file) const;
    // What Save writes.
    std::string Text() const;
    std::string const& File() const { return file_; }
    std::string const& Name() const { return name_; }

  private:
    bool IsAsRecorded(std::string& text) const;

    std::string const file_, title_, name_;
    std::string lines_;
    std::size_t count_ = 0, lost_ = 0;
};

}  // namespace engine

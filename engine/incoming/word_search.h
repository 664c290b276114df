#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace engine {

// Finds many words in one pass over a text (Aho-Corasick).
class WordSearch {
  public:
    // None of them empty, together below 60,000 bytes. They need not outlive the search.
    explicit WordSearch(std::vector<std::string_view> const& words);

    // Sets [i] for each word i that the text holds; the others stay as they are. `found` is as long as the
    // words.
    void Find(std::string_view text, std::vector<bool>& found) const;

  private:
    using Node = std::uint16_t;

    Node& Next(std::size_t node, std::size_t letter) { return next_[node * letters_ + letter]; }
    void Add(std::string_view word, std::size_t number);
    void Link();

    std::array<std::uint8_t, 256> letter_{};  // of each byte; 0: in no word
    std::size_t letters_ = 1;
    std::vector<Node> next_;                         // of each node by letter
    std::vector<std::vector<std::uint16_t>> words_;  // that end at a node
    std::vector<Node> shorter_;                      // the next node on the way back at which words end
};

}  // namespace engine

#include "engine/incoming/word_search.h"

namespace engine {

WordSearch::WordSearch(std::vector<std::string_view> const& words) {
    for (std::string_view const word : words)
        for (char const c : word)
            if (std::uint8_t& letter = letter_[static_cast<unsigned char>(c)]; letter == 0)
                letter = static_cast<std::uint8_t>(letters_++);
    next_.assign(letters_, 0);
    words_.resize(1);
    for (std::size_t i = 0; i < words.size(); ++i) Add(words[i], i);
    Link();
}

void WordSearch::Add(std::string_view word, std::size_t number) {
    std::size_t node = 0;
    for (char const c : word) {
        std::size_t const letter = letter_[static_cast<unsigned char>(c)];
        if (Next(node, letter) == 0) {
            Next(node, letter) = static_cast<Node>(words_.size());
            words_.emplace_back();
            next_.resize(next_.size() + letters_, 0);
        }
        node = Next(node, letter);
    }
    words_[node].push_back(static_cast<std::uint16_t>(number));
}

// Breadth first: where a node has no child of a letter, the search goes on where the longest end of what was
// read that begins a word has one.
void WordSearch::Link() {
    std::vector<Node> fallback(words_.size(), 0);
    shorter_.assign(words_.size(), 0);
    std::vector<Node> order = {0};
    for (std::size_t i = 0; i < order.size(); ++i) {
        Node const node = order[i], back = fallback[node];
        shorter_[node] = words_[back].empty() ? shorter_[back] : back;
        for (std::size_t letter = 0; letter < letters_; ++letter) {
            Node& child = Next(node, letter);
            Node const other = node == 0 ? Node{0} : Next(back, letter);
            if (child == 0) {
                child = other;
            } else {
                fallback[child] = other;
                order.push_back(child);
            }
        }
    }
}

void WordSearch::Find(std::string_view text, std::vector<bool>& found) const {
    std::size_t node = 0;
    for (char const c : text) {
        node = next_[node * letters_ + letter_[static_cast<unsigned char>(c)]];
        for (std::size_t end = node; end != 0; end = shorter_[end])
            for (std::uint16_t const word : words_[end]) found[word] = true;
    }
}

}  // namespace engine

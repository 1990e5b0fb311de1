#include "agent/sql/occurrence_index.h"

#include <algorithm>
#include <limits>

namespace vorgate::sql {
namespace {

constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

}  // namespace

OccurrenceIndex::State OccurrenceIndex::target(State from, unsigned char byte) const noexcept {
  if (from == start) return from_start_[byte];
  for (std::uint32_t edge = nodes_[from].first_edge; edge != none; edge = edges_[edge].next) {
    if (edges_[edge].byte == byte) return edges_[edge].target;
  }
  return none;
}

void OccurrenceIndex::connect(State from, unsigned char byte, State to) {
  if (from == start) {
    from_start_[byte] = to;
    return;
  }
  for (std::uint32_t edge = nodes_[from].first_edge; edge != none; edge = edges_[edge].next) {
    if (edges_[edge].byte != byte) continue;
    edges_[edge].target = to;
    return;
  }
  edges_.push_back({byte, to, nodes_[from].first_edge});
  nodes_[from].first_edge = static_cast<std::uint32_t>(edges_.size() - 1);
}

// Takes the substrings that end in `byte` after those of `from` out of `node`.
OccurrenceIndex::State OccurrenceIndex::split(State from, State node, unsigned char byte) {
  const auto part = static_cast<State>(nodes_.size());
  nodes_.push_back({nodes_[from].length + 1, nodes_[node].link, none, none, false});
  for (std::uint32_t edge = nodes_[node].first_edge; edge != none; edge = edges_[edge].next) {
    const Edge copy = edges_[edge];
    edges_.push_back({copy.byte, copy.target, nodes_[part].first_edge});
    nodes_[part].first_edge = static_cast<std::uint32_t>(edges_.size() - 1);
  }
  nodes_[node].link = part;
  for (State s = from; s != none && target(s, byte) == node; s = nodes_[s].link) {
    connect(s, byte, part);
  }
  return part;
}

OccurrenceIndex::OccurrenceIndex(std::string_view text, const std::vector<std::uint32_t>& room) {
  from_start_.fill(none);
  nodes_.reserve(2 * text.size() + 2);
  edges_.reserve(3 * text.size());
  nodes_.push_back({0, none, none, none, false});
  State last = start;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto added = static_cast<State>(nodes_.size());
    nodes_.push_back({static_cast<std::uint32_t>(i + 1), start, none, room[i + 1], false});
    State s = last;
    for (; s != none && target(s, byte) == none; s = nodes_[s].link) connect(s, byte, added);
    if (s != none) {
      const State next = target(s, byte);
      const bool fits = nodes_[next].length == nodes_[s].length + 1;
      const State link = fits ? next : split(s, next, byte);
      nodes_[added].link = link;
    }
    last = added;
  }
  for (State s = last; s != none; s = nodes_[s].link) nodes_[s].at_end = true;

  // What ends somewhere, its suffixes end there too: longest first, by counting.
  std::vector<std::uint32_t> place(text.size() + 2);
  for (const Node& node : nodes_) ++place[node.length + 1];
  for (std::size_t i = 1; i < place.size(); ++i) place[i] += place[i - 1];
  std::vector<State> by_length(nodes_.size());
  for (State s = 0; s < nodes_.size(); ++s) by_length[place[nodes_[s].length]++] = s;
  for (auto s = by_length.rbegin(); s != by_length.rend(); ++s) {
    const Node& node = nodes_[*s];
    if (node.link == none) continue;
    std::uint32_t& least = nodes_[node.link].least_room;
    least = std::min(least, node.least_room);
  }
}

bool OccurrenceIndex::advance(State* state, char byte) const noexcept {
  const State next = target(*state, static_cast<unsigned char>(byte));
  if (next == none) return false;
  *state = next;
  return true;
}

}  // namespace vorgate::sql

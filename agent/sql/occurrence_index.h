#ifndef VORGATE_AGENT_SQL_OCCURRENCE_INDEX_H
#define VORGATE_AGENT_SQL_OCCURRENCE_INDEX_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vorgate::sql {

// All substrings of a text, so that any other text can be followed through it a
// byte at a time without asking where it occurs: the text's suffix automaton.
// Built in linear time; const and without locks afterwards. For texts of less
// than 1 GiB.
class OccurrenceIndex {
 public:
  using State = std::uint32_t;
  static constexpr State start = 0;

  // room: one number for each end of an occurrence, from 0 to the text's length.
  OccurrenceIndex(std::string_view text, const std::vector<std::uint32_t>& room);

  // Follows one byte. False, and `state` stays: what was read with this byte does
  // not occur in the text.
  bool advance(State* state, char byte) const noexcept;

  // The smallest room of all ends of occurrences of what was read.
  std::uint32_t least_room(State state) const noexcept { return nodes_[state].least_room; }

  // Does the text end with what was read?
  bool at_end(State state) const noexcept { return nodes_[state].at_end; }

 private:
  struct Node {
    std::uint32_t length;
    State link;
    std::uint32_t first_edge;
    std::uint32_t least_room;
    bool at_end;
  };
  struct Edge {
    unsigned char byte;
    State target;
    std::uint32_t next;
  };

  State target(State from, unsigned char byte) const noexcept;
  void connect(State from, unsigned char byte, State to);
  State split(State from, State node, unsigned char byte);

  std::vector<Node> nodes_;
  std::vector<Edge> edges_;
  std::array<State, 256> from_start_;  // the one node with many edges
};

}  // namespace vorgate::sql

#endif  // VORGATE_AGENT_SQL_OCCURRENCE_INDEX_H

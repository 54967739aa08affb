#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::detect {

struct Pattern {
    std::string regex;
    bool caseless = true;
    bool multiLine = false;
    bool dotAll = true;
};

// The two multi-pattern matchers the engine can use: RE2's set (one DFA over all patterns) and Vectorscan
// (literal-driven automata). Both run in time linear in the text; neither backtracks.
enum class MatcherBackend { Re2Set, Vectorscan };

// Many patterns matched in one pass over a text. Not for use by two threads at once.
class PatternSet {
public:
    virtual ~PatternSet() = default;
    // Appends the index of every pattern found in text (each once, in no order) to hits.
    virtual void match(std::string_view text, std::vector<int>& hits) = 0;
};

// Compiles the patterns; throws std::runtime_error when they cannot be. Each pattern must already be
// accepted by checkPattern.
std::unique_ptr<PatternSet> makePatternSet(MatcherBackend backend, const std::vector<Pattern>& patterns);

// Empty when RE2 accepts the pattern, else the reason it does not.
std::string checkPattern(const Pattern& pattern);

const char* backendName(MatcherBackend backend);

} // namespace kelvane::detect

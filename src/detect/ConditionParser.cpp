#include "detect/ConditionParser.h"

#include "detect/SigmaValue.h"

#include <cctype>

namespace kelvane::detect {
namespace {

bool nameMatches(std::string_view pattern, std::string_view name) {
    // Only * occurs in selection name patterns.
    if (pattern.empty())
        return name.empty();
    if (pattern.front() == '*') {
        for (std::size_t i = 0; i <= name.size(); ++i)
            if (nameMatches(pattern.substr(1), name.substr(i)))
                return true;
        return false;
    }
    return !name.empty() && pattern.front() == name.front() && nameMatches(pattern.substr(1), name.substr(1));
}

class Parser {
public:
    Parser(std::string_view text, const std::vector<Selection>& selections)
        : m_text(text), m_selections(selections) {
        tokenize();
    }

    std::unique_ptr<ConditionNode> parse() {
        auto node = parseOr();
        if (m_at != m_tokens.size())
            throw RuleError("unexpected '" + m_tokens[m_at] + "' in the condition");
        return node;
    }

private:
    void tokenize() {
        for (std::size_t i = 0; i < m_text.size();) {
            const char c = m_text[i];
            if (std::isspace(static_cast<unsigned char>(c))) {
                ++i;
            } else if (c == '(' || c == ')' || c == '|') {
                if (c == '|')
                    throw RuleError("aggregations in conditions are not supported");
                m_tokens.emplace_back(1, c);
                ++i;
            } else {
                std::size_t end = i;
                while (end < m_text.size() && !std::isspace(static_cast<unsigned char>(m_text[end])) &&
                       m_text[end] != '(' && m_text[end] != ')' && m_text[end] != '|')
                    ++end;
                m_tokens.emplace_back(m_text.substr(i, end - i));
                i = end;
            }
        }
    }
    bool peek(std::string_view word) const { return m_at < m_tokens.size() && m_tokens[m_at] == word; }
    std::string next() {
        if (m_at >= m_tokens.size())
            throw RuleError("the condition ends too early");
        return m_tokens[m_at++];
    }
    static std::unique_ptr<ConditionNode> make(ConditionNode::Kind kind) {
        auto node = std::make_unique<ConditionNode>();
        node->kind = kind;
        return node;
    }

    std::unique_ptr<ConditionNode> parseOr() {
        auto left = parseAnd();
        if (!peek("or"))
            return left;
        auto node = make(ConditionNode::Kind::Or);
        node->children.push_back(std::move(left));
        while (peek("or")) {
            ++m_at;
            node->children.push_back(parseAnd());
        }
        return node;
    }
    std::unique_ptr<ConditionNode> parseAnd() {
        auto left = parseNot();
        if (!peek("and"))
            return left;
        auto node = make(ConditionNode::Kind::And);
        node->children.push_back(std::move(left));
        while (peek("and")) {
            ++m_at;
            node->children.push_back(parseNot());
        }
        return node;
    }
    std::unique_ptr<ConditionNode> parseNot() {
        if (peek("not")) {
            ++m_at;
            auto node = make(ConditionNode::Kind::Not);
            node->children.push_back(parseNot());
            return node;
        }
        return parsePrimary();
    }
    std::unique_ptr<ConditionNode> parsePrimary() {
        const std::string token = next();
        if (token == "(") {
            auto node = parseOr();
            if (next() != ")")
                throw RuleError("a parenthesis is not closed in the condition");
            return node;
        }
        if ((token == "1" || token == "any" || token == "all") && peek("of")) {
            ++m_at;
            const std::string pattern = next();
            auto node = make(token == "all" ? ConditionNode::Kind::And : ConditionNode::Kind::Or);
            for (std::size_t i = 0; i < m_selections.size(); ++i) {
                if (pattern == "them" ? m_selections[i].name.starts_with('_')
                                      : !nameMatches(pattern, m_selections[i].name))
                    continue;
                node->children.push_back(selection(static_cast<int>(i)));
            }
            if (node->children.empty())
                throw RuleError("no selection matches '" + pattern + "'");
            return node;
        }
        if (token == ")" || token == "and" || token == "or" || token == "of")
            throw RuleError("unexpected '" + token + "' in the condition");
        for (std::size_t i = 0; i < m_selections.size(); ++i)
            if (m_selections[i].name == token)
                return selection(static_cast<int>(i));
        throw RuleError("the condition names an unknown selection '" + token + "'");
    }
    static std::unique_ptr<ConditionNode> selection(int index) {
        auto node = make(ConditionNode::Kind::Selection);
        node->selection = index;
        return node;
    }

    std::string_view m_text;
    const std::vector<Selection>& m_selections;
    std::vector<std::string> m_tokens;
    std::size_t m_at = 0;
};

} // namespace

std::unique_ptr<ConditionNode> parseCondition(std::string_view text,
                                              const std::vector<Selection>& selections) {
    return Parser(text, selections).parse();
}

} // namespace kelvane::detect

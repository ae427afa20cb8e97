#include "support/reference/value.h"

namespace reference {

namespace {

// A pattern as it is read: a unit that stands for itself, or a wildcard.
struct pattern_token {
  bool wildcard;
  char16_t unit;  // '%' or '_' of a wildcard.
};

std::vector<pattern_token> tokens_of(std::u16string const& pattern) {
  std::vector<pattern_token> tokens;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == u'\\') {
      if (i + 1 == pattern.size()) break;
      tokens.push_back({false, pattern[++i]});
    } else {
      tokens.push_back({pattern[i] == u'%' || pattern[i] == u'_', pattern[i]});
    }
  }
  return tokens;
}

bool matches(std::u16string_view text, std::vector<pattern_token> const& tokens, std::size_t at) {
  if (at == tokens.size()) return text.empty();
  pattern_token const& token = tokens[at];
  if (token.wildcard && token.unit == u'%') {
    for (std::size_t dropped = 0; dropped <= text.size(); ++dropped) {
      if (matches(text.substr(dropped), tokens, at + 1)) return true;
    }
    return false;
  }
  if (text.empty()) return false;
  if (!token.wildcard) return text[0] == token.unit && matches(text.substr(1), tokens, at + 1);
  bool const pair = text[0] >= 0xD800 && text[0] <= 0xDBFF;
  if (pair && text.size() < 2) return false;
  return matches(text.substr(pair ? 2 : 1), tokens, at + 1);
}

}  // namespace

bool like(std::u16string const& text, std::u16string const& pattern) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != u'\\') continue;
    ++i;
    if (i == pattern.size() || std::u16string_view(u"%_\\").find(pattern[i]) == std::string::npos) {
      throw failure{"sql error 7042"};
    }
  }
  return matches(text, tokens_of(pattern), 0);
}

std::u16string like_prefix(std::u16string const& pattern) {
  std::u16string prefix;
  for (pattern_token const& token : tokens_of(pattern)) {
    if (token.wildcard) return prefix;
    prefix += token.unit;
  }
  return {};
}

}  // namespace reference

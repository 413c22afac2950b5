#include "archiver/command_file.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/checked_alloc.h"

namespace {

constexpr size_t kTokenGrowth = 80;

bool isSpace(int c) { return c != EOF && std::isspace(c); }

// The token text, grown 80 bytes at a time through the checked allocator;
// freed unless it is handed to the caller.
struct TokenBuffer {
  char* text = static_cast<char*>(xmalloc(kTokenGrowth));
  size_t capacity = kTokenGrowth;
  size_t length = 0;

  TokenBuffer() = default;
  TokenBuffer(const TokenBuffer&) = delete;
  TokenBuffer& operator=(const TokenBuffer&) = delete;
  ~TokenBuffer() { std::free(text); }

  void append(char c) {
    if (length + 1 >= capacity) {
      capacity += kTokenGrowth;
      text = static_cast<char*>(xrealloc(text, capacity));
    }
    text[length++] = c;
  }
  char* release() {
    text[length] = '\0';
    char* result = text;
    text = nullptr;
    return result;
  }
};

void (*failureExit)(int status) = std::exit;

[[noreturn]] void unterminatedComment() {
  std::fputs(">> Unterminated comment in command file;", stderr);
  std::fputs(" aborting!\n", stderr);
  failureExit(-1);
  std::abort();
}

[[noreturn]] void unterminatedQuote(const std::string& quoted, bool startsEscaped) {
  std::fputs(">> Unterminated quote in command file; aborting\n", stderr);
  std::string text = quoted.substr(0, 30);
  if (text == "\n") failureExit(-1);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  std::string shown;
  for (char c : text) {
    if (c == '\t')
      shown += "\\t";
    else if (c == '\n')
      shown += "\\n";
    else
      shown += c;
  }
  std::fprintf(stderr, "   Quote starts at %s%s\n", startsEscaped ? "" : "\"", shown.c_str());
  failureExit(-1);
  std::abort();
}

void skipBlockComment(FILE* stream) {
  int previous = 0;
  for (;;) {
    int c = std::getc(stream);
    if (c == EOF) unterminatedComment();
    if (previous == '*' && c == '/') return;
    previous = c;
  }
}

void skipLineComment(FILE* stream) {
  int c;
  do {
    c = std::getc(stream);
  } while (c != EOF && c != '\n');
}

// The inside of a double-quoted part, after its opening quote.
void readQuoted(FILE* stream, TokenBuffer& token) {
  std::string quoted;
  bool startsEscaped = false;
  for (;;) {
    int c = std::getc(stream);
    if (c == EOF) unterminatedQuote(quoted, startsEscaped);
    if (c == '"') return;
    if (c == '\\') {
      int next = std::getc(stream);
      if (next == '"' || next == '\\') {
        if (quoted.empty() && next == '"') startsEscaped = true;
        c = next;
      } else if (next != EOF) {
        std::ungetc(next, stream);
      }
    }
    token.append(static_cast<char>(c));
    quoted += static_cast<char>(c);
  }
}

// A "#" starts a comment unless a "-" comes before any white space when the
// token is read backwards, so that option-like words such as -a#b keep it.
bool hashStartsComment(const TokenBuffer& token) {
  for (size_t i = token.length; i-- > 0;) {
    if (token.text[i] == '-') return false;
    if (isSpace(static_cast<unsigned char>(token.text[i]))) return true;
  }
  return true;
}

}  // namespace

char* readCommandToken(FILE* stream) {
  if (!stream) return nullptr;
  int c;
  do {
    c = std::getc(stream);
  } while (isSpace(c));
  if (c != EOF) std::ungetc(c, stream);

  TokenBuffer token;
  bool escapePending = false;
  for (;;) {
    c = std::getc(stream);
    bool wasEscape = false;
    if (c == EOF) return token.length > 0 ? token.release() : nullptr;
    if (c == '*' && token.length > 0 && token.text[token.length - 1] == '/') {
      --token.length;
      skipBlockComment(stream);
    } else if ((c == '"' || c == '\\' || c == '\0') && escapePending) {
      token.text[token.length - 1] = static_cast<char>(c);
    } else if (c == '"') {
      int next = std::getc(stream);
      if (next != '"') {
        if (next != EOF) std::ungetc(next, stream);
        readQuoted(stream, token);
      }
    } else if ((c == '#' && hashStartsComment(token)) || c == ';') {
      // The token goes on after the comment's newline.
      skipLineComment(stream);
    } else if (c == '\\') {
      token.append('\\');
      wasEscape = true;
    } else if (isSpace(c)) {
      if (token.length > 0) return token.release();
    } else {
      token.append(static_cast<char>(c));
    }
    escapePending = wasEscape;
  }
}

void setCommandFileFailureExit(void (*exitFunction)(int status)) {
  failureExit = exitFunction ? exitFunction : std::exit;
}

#include "Bench/TextGenerator.h"
#include <array>

namespace tarnel::bench::TextGenerator {

namespace {

constexpr std::array<std::string_view, 40> words{"the", "a", "test", "file", "reads", "value", "cache", "fails", "when",
    "socket", "and", "returns", "after", "build", "branch", "of", "with", "retry", "parser", "queue", "is", "not",
    "handled", "because", "it", "line", "offset", "window", "we", "should", "check", "whether", "change", "keeps",
    "order", "thread", "server", "request", "timeout", "refactoring"};
constexpr std::array<std::string_view, 10> foreign{"für größere Änderungen", "déjà vérifié", "проверка завершена",
    "テストを実行します", "文件已更新", "확인했습니다", "✅ done", "→ weiter", "“quoted”", "🚀🚀"};
constexpr std::array<std::string_view, 8> folders{
    "src", "lib", "tests", "app/models", "packages/core", "docs", "server", "include/net"};
constexpr std::array<std::string_view, 12> stems{"parser", "cache", "index", "queue", "session", "reader", "writer",
    "socket", "layout", "config", "transcript", "report"};
constexpr std::array<std::string_view, 6> endings{".cpp", ".h", ".ts", ".py", ".md", ".json"};
constexpr std::array<std::string_view, 8> commands{"npm test -- --watch=false", "git status --short",
    "cmake --build build -j8", "rg -n \"TODO\" src | head -50", "python3 -m pytest -q", "ls -la", "cargo check 2>&1",
    "sed -n '1,120p' src/parser.cpp"};
constexpr std::array<std::string_view, 8> statements{"return value;", "if (found == end)", "auto name = \"text\";",
    "log(\"path\\t%s\\n\", path);", "const regex = /\\d+\\.\\d+/;", "for (const auto& each : list) {", "}",
    "// checked"};

std::string number(Random& random, std::size_t limit) { return std::to_string(random.below(limit)); }

} // namespace

std::string prose(Random& random, std::size_t bytes)
{
    std::string text;
    text.reserve(bytes + 64);
    std::size_t sentence = 0;
    while (text.size() < bytes) {
        text += random.isOneIn(60) ? random.any(foreign) : random.any(words);
        if (++sentence % 12 == 0)
            text += random.isOneIn(4) ? ".\n\n" : random.isOneIn(5) ? ": `x = \"1\"`.\n- " : ". ";
        else
            text += ' ';
    }
    return text;
}

std::string code(Random& random, std::size_t bytes)
{
    std::string text;
    text.reserve(bytes + 128);
    while (text.size() < bytes) {
        text.append(4 * random.below(4), ' ');
        text += random.any(statements);
        if (random.isOneIn(3)) {
            text += " // ";
            for (std::size_t count = random.between(3, 9); count > 0; --count)
                (text += random.any(words)) += ' ';
        }
        text += '\n';
    }
    return text;
}

std::string output(Random& random, std::size_t bytes)
{
    std::string text;
    text.reserve(bytes + 128);
    while (text.size() < bytes) {
        if (random.isOneIn(12))
            text += "\x1b[32m✓\x1b[0m ";
        text += path(random) + ":" + number(random, 900) + ":" + number(random, 80) + ":\t";
        for (std::size_t count = random.between(4, 12); count > 0; --count)
            (text += random.any(words)) += ' ';
        text += random.isOneIn(30) ? random.any(foreign) : std::string_view();
        text += '\n';
    }
    return text;
}

std::string path(Random& random)
{
    return std::string(random.any(folders)).append("/").append(random.any(stems)).append(random.any(endings));
}

std::string command(Random& random)
{
    std::string line(random.any(commands));
    if (random.isOneIn(3))
        line += " " + path(random);
    if (random.isOneIn(8))
        line += " <<'EOF'\n" + code(random, random.between(200, 2'000)) + "EOF";
    return line;
}

std::string digits(Random& random, std::size_t count)
{
    std::string text;
    while (text.size() < count)
        text += "0123456789abcdef"[random.below(16)];
    return text;
}

std::string screen(Random& random, std::size_t bytes, bool asks)
{
    std::string text;
    while (text.size() + 600 < bytes) {
        std::string line = random.isOneIn(6) ? "⏺ " : "  ";
        const std::size_t width = random.between(30, 110);
        while (line.size() < width)
            (line += random.isOneIn(80) ? random.any(foreign) : random.any(words)) += ' ';
        text += line + "\n";
    }
    const std::string rule = [] {
        std::string drawn;
        for (int column = 0; column < 80; ++column)
            drawn += "─";
        return drawn + "\n";
    }();
    if (asks)
        text +=
            "  Do you want to proceed?\n  ❯ 1. Yes\n    2. Yes, and don't ask again\n    3. No, and tell what to do\n\n"
            "  Esc to cancel · Tab to amend\n";
    else
        text += rule + "❯ \n" + rule + "  ⏵⏵ accept edits on (shift+tab to cycle)\n";
    return text;
}

} // namespace tarnel::bench::TextGenerator

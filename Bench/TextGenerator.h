// Bench/TextGenerator.h: texts such as agents write and read.
#pragma once
#include "Bench/Random.h"
#include <cstddef>
#include <string>

/// Texts of about `bytes` bytes, in UTF-8, never cut within a character.
namespace tarnel::bench::TextGenerator {

/// Sentences in paragraphs, now and then in another script.
std::string prose(Random& random, std::size_t bytes);
/// Source text: indentation, quotes, backslashes.
std::string code(Random& random, std::size_t bytes);
/// What a command prints: paths, numbers, tabs, colours.
std::string output(Random& random, std::size_t bytes);

/// A path below a project's directory.
std::string path(Random& random);
/// A command line.
std::string command(Random& random);
/// Hexadecimal digits.
std::string digits(Random& random, std::size_t count);

/// A pane's screen: a reply, then what the agent draws below it, a menu when it asks.
std::string screen(Random& random, std::size_t bytes, bool asks);

} // namespace tarnel::bench::TextGenerator

// The pages that describe the command line: help, manual page, shell completion. All are made from one description,
// which is that of the argument parser.
#pragma once

#include <string>
#include <vector>

namespace zelmora::cli {

struct option_description {
  std::vector<std::string> names; ///< "-o", "--output"
  std::string argument;           ///< "N", "wav|f32"; empty for flags
  std::string text;
};

struct example {
  std::string command;
  std::string text;
};

struct verb_description {
  std::string name;
  std::string operands; ///< as in the usage line
  std::string summary;
  std::string details; ///< paragraphs between blank lines
  std::vector<option_description> options;
  std::vector<example> examples;
};

std::string render_program_help(const std::vector<verb_description>& verbs);
std::string render_verb_help(const verb_description& verb);
/// The manual page zel(1), in the man macros.
std::string render_manual_page(const std::vector<verb_description>& verbs);
/// A completion function for bash.
std::string render_completion(const std::vector<verb_description>& verbs);

} // namespace zelmora::cli

#include "cli/help.h"

#include <algorithm>
#include <fmt/core.h>
#include <fmt/format.h>
#include <string_view>

namespace zelmora::cli {

namespace {

constexpr std::size_t line_width = 79;

struct exit_row {
  const char* status;
  const char* meaning;
};
constexpr exit_row exit_rows[] = {{"0", "all done"},
                                  {"1", "something failed; the rest was still done"},
                                  {"2", "wrong usage"},
                                  {"130", "interrupted"}};

struct variable_row {
  const char* name;
  const char* meaning;
};
constexpr variable_row variable_rows[] = {
    {"ZELMORA_PLUGIN", "the plug-in to load, in place of the installed one"},
    {"ZELMORA_CONFIG_DIR", "where settings are kept, in place of ~/.config/zelmora"},
};

/// `text` in lines of `width`, each behind `indent` blanks but the first, which stands where the caller is.
std::string wrap(std::string_view text, std::size_t indent, std::size_t width = line_width) {
  std::string result;
  std::size_t column = indent;
  while (!text.empty()) {
    const auto end = std::min(text.find(' '), text.size());
    const auto word = text.substr(0, end);
    if (column != indent && column + 1 + word.size() > width) {
      result += '\n';
      result.append(indent, ' ');
      column = indent;
    } else if (column != indent) {
      result += ' ';
      ++column;
    }
    result += word;
    column += word.size();
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

std::string join_names(const option_description& option, std::string_view separator) {
  std::string result;
  for (const auto& name : option.names) {
    if (!result.empty()) result += separator;
    result += name;
  }
  return result;
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> result;
  for (;;) {
    const auto end = text.find(separator);
    result.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return result;
    text.remove_prefix(end + 1);
  }
}

std::string_view trim(std::string_view text) {
  const auto first = std::min(text.find_first_not_of(' '), text.size());
  const auto last = text.find_last_not_of(' ');
  return text.substr(first, last == std::string_view::npos ? 0 : last + 1 - first);
}

/// The forms of a verb, such as "config get KEY...": one for most.
std::vector<std::string> usage_forms(const verb_description& verb) {
  std::vector<std::string> result;
  for (const auto& form : split(verb.operands, '|'))
    result.push_back(fmt::format("zel {} [OPTION]...{}{}", verb.name, form.empty() ? "" : " ", trim(form)));
  return result;
}

} // namespace

std::string render_program_help(const std::vector<verb_description>& verbs) {
  std::string out =
      "zel: describe, decode, check and tag audio files\n\nusage: zel VERB [OPTION]... PATH...\n\nverbs:\n";
  for (const auto& verb : verbs) out += fmt::format("  {:<10}{}\n", verb.name, verb.summary);
  out += "\n  zel help VERB   tells more of a verb\n  zel --version   prints the version\n\nexamples:\n";
  for (const auto& verb : verbs) out += fmt::format("  {}\n", verb.examples.front().command);
  out += "\nexit status:\n";
  for (const auto& row : exit_rows) out += fmt::format("  {:<6}{}\n", row.status, row.meaning);
  return out;
}

std::string render_verb_help(const verb_description& verb) {
  constexpr std::size_t text_column = 30;
  auto out = fmt::format("zel {}: {}\n\nusage: {}\n\n{}\n", verb.name, verb.summary,
                         fmt::join(usage_forms(verb), "\n       "), wrap(verb.details, 0));
  if (!verb.options.empty()) out += "\noptions:\n";
  for (const auto& option : verb.options) {
    auto head = fmt::format("  {}{}{}", join_names(option, ", "), option.argument.empty() ? "" : " ", option.argument);
    if (head.size() + 2 > text_column)
      head += fmt::format("\n{:{}}", "", text_column);
    else
      head.resize(text_column, ' ');
    out += fmt::format("{}{}\n", head, wrap(option.text, text_column));
  }
  if (!verb.examples.empty()) out += "\nexamples:\n";
  for (const auto& e : verb.examples) out += fmt::format("  {}\n      {}\n", e.command, e.text);
  return out;
}

// --- manual page -----------------------------------------------------------------------------------------------------

namespace {

/// Text that the man macros take as it stands.
std::string roff(std::string_view text) {
  std::string out;
  if (text.starts_with('.') || text.starts_with('\'')) out += "\\&";
  for (const char c : text) {
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else
      out += c;
  }
  return out;
}

void add_tagged(std::string& out, std::string_view tag, std::string_view text) {
  out += fmt::format(".TP\n{}\n{}\n", tag, roff(text));
}

} // namespace

std::string render_manual_page(const std::vector<verb_description>& verbs) {
  std::string out = ".\\\" Made by `zel --generate man`.\n.TH ZEL 1 \"\" \"Format Bench\" \"User Commands\"\n"
                    ".SH NAME\nzel \\- describe, decode, check and tag audio files\n.SH SYNOPSIS\n";
  for (const auto& verb : verbs)
    for (const auto& form : usage_forms(verb)) out += roff(form) + "\n.br\n";
  out += ".SH DESCRIPTION\nA \\fIPATH\\fR is anything that an input claims: a file, or a scheme such as\n"
         ".IR tone://440,2 .\nErrors go to standard error as \"zel: PATH: message\". What follows\n.B \\-\\-\n"
         "is a path even when it begins with a dash.\n";
  for (const auto& verb : verbs) {
    out += fmt::format(
        ".SH ZEL {}\n{}\n",
        [&] {
          auto name = verb.name;
          std::ranges::transform(name, name.begin(),
                                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
          return name;
        }(),
        roff(verb.details));
    for (const auto& option : verb.options) {
      std::string tag;
      for (const auto& name : option.names) tag += (tag.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
      if (!option.argument.empty()) tag += " \\fI" + roff(option.argument) + "\\fR";
      add_tagged(out, tag, option.text);
    }
    out += ".PP\nExamples:\n";
    for (const auto& e : verb.examples) add_tagged(out, roff(e.command), e.text);
  }
  out += ".SH EXIT STATUS\n";
  for (const auto& row : exit_rows) add_tagged(out, row.status, row.meaning);
  out += ".SH ENVIRONMENT\n";
  for (const auto& row : variable_rows) add_tagged(out, row.name, row.meaning);
  return out;
}

// --- completion ------------------------------------------------------------------------------------------------------

std::string render_completion(const std::vector<verb_description>& verbs) {
  std::string names;
  for (const auto& verb : verbs) names += verb.name + " ";
  std::string options;
  std::string arguments;
  std::string actions;
  for (const auto& verb : verbs) {
    std::string all;
    for (const auto& option : verb.options) {
      all += join_names(option, " ") + " ";
      if (option.argument.empty()) continue;
      const auto choices = split(option.argument, '|');
      const auto action = choices.size() > 1 ? fmt::format("words '{}'", fmt::join(choices, " "))
                          : option.argument == "FILE" || option.argument == "OUT" ? std::string("files")
                                                                                  : std::string("return");
      for (const auto& name : option.names)
        arguments += fmt::format("    {}:{}) {};{}\n", verb.name, name, action, action == "return" ? ";" : " return;;");
    }
    options += fmt::format("    {}) options='{}';;\n", verb.name, all.substr(0, all.size() - 1));
    if (verb.operands.find(" | ") == std::string::npos) continue;
    std::string words;
    for (const auto& form : split(verb.operands, '|')) words += split(trim(form), ' ').front() + ' ';
    actions += fmt::format("    {}) [[ $COMP_CWORD -eq 2 ]] && words '{}' && return;;\n", verb.name,
                           words.substr(0, words.size() - 1));
  }
  return fmt::format(R"(# bash completion for zel. Made by `zel --generate completion`.
_zel() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} verb=${{COMP_WORDS[1]}} options=
  COMPREPLY=()
  words() {{ mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }}
  files() {{ compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current"); }}
  if [[ $COMP_CWORD -eq 1 ]]; then
    words '{}help --help --version'
    return
  fi
  if [[ $verb == help ]]; then
    words '{}'
    return
  fi
  case $verb:$previous in
{}  esac
  case $verb in
{}    *) return;;
  esac
  if [[ $current == -* ]]; then
    words "$options"
    return
  fi
  case $verb in
{}  esac
  files
}}
complete -F _zel zel
)",
                     names, names.substr(0, names.size() - 1), arguments, options, actions);
}

} // namespace zelmora::cli

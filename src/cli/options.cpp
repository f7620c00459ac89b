// The one source that knows the argument parser.
#include "cli/options.h"

#include "cli/help.h"
#include "cli/suggestions.h"
#include "frame/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <fmt/core.h>
#include <fmt/format.h>
#include <limits>
#include <span>

namespace zelmora::cli {

namespace {

constexpr unsigned most_jobs = 256;
constexpr unsigned most_seeks = 1'000'000;
/// [s]; samples beyond it could not be counted in a double
constexpr double longest_time = 1e9;

std::string version_text() { return fmt::format("zel, Format Bench {}\n", ZELMORA_VERSION); }

// --- values ----------------------------------------------------------------------------------------------------------

/// Decimal digits, nothing else: the parser's own reading takes "010" for 8.
template <std::unsigned_integral T>
std::optional<T> parse_number(std::string_view text) {
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// A number [least, most]; `value`, a number or an optional one, keeps what it has when the option is not given.
template <std::unsigned_integral T, class Value>
CLI::Option* add_number(CLI::App& app, const char* names, Value& value, T least, T most, const char* text) {
  const auto is_refused = [=](std::string& given) -> std::string {
    const auto number = parse_number<T>(given);
    if (number && *number >= least && *number <= most) return {};
    return fmt::format("{} is not a number from {} to {}", given, least, most);
  };
  return app
      .add_option_function<std::string>(
          names, [&value](const std::string& given) { value = *parse_number<T>(given); }, text)
      ->type_name("N")
      ->check(CLI::Validator(is_refused, ""));
}

CLI::Validator one_of(std::vector<std::string> choices) {
  return {[choices = std::move(choices)](std::string& text) -> std::string {
            if (std::ranges::find(choices, text) != choices.end()) return {};
            return fmt::format("{} is none of {}", text, fmt::join(choices, ", "));
          },
          ""};
}

/// Seconds with decimals.
std::optional<double> parse_seconds(std::string_view text) {
  const auto number = parse_decimal(text);
  if (number.length == 0 || number.length != text.size() || !(number.value >= 0)) return std::nullopt;
  return number.value;
}

/// Of a clock: "07", "59.25". What stands behind a colon has two digits and is below 60.
std::optional<double> parse_sixtieth(std::string_view text) {
  const auto whole = text.substr(0, 2);
  const auto fraction = text.substr(whole.size());
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (whole.size() != 2 || !std::ranges::all_of(whole, is_digit) || whole[0] > '5') return std::nullopt;
  if (!fraction.empty() && (fraction[0] != '.' || !std::ranges::all_of(fraction.substr(1), is_digit)))
    return std::nullopt;
  return parse_seconds(text);
}

/// [s] of "3:25.040", "1:02:03.500", as `info` prints them, or of plain seconds.
std::optional<double> parse_time(std::string_view text) {
  const auto last = text.rfind(':');
  if (last == std::string_view::npos) return parse_seconds(text);
  const auto first = text.find(':');
  const auto seconds = parse_sixtieth(text.substr(last + 1));
  const auto leading = parse_number<std::uint32_t>(text.substr(0, first));
  if (!seconds || !leading) return std::nullopt;
  if (first == last) return *leading * 60.0 + *seconds;
  const auto minutes_text = text.substr(first + 1, last - first - 1);
  const auto minutes = parse_sixtieth(minutes_text);
  if (!minutes || minutes_text.size() != 2) return std::nullopt;
  return *leading * 3600.0 + *minutes * 60 + *seconds;
}

CLI::Option* add_time(CLI::App& app, const char* name, std::optional<double>& value, const char* text) {
  const auto is_refused = [](std::string& given) -> std::string {
    const auto time = parse_time(given);
    if (time && *time <= longest_time) return {};
    return given + " is no time, neither seconds nor [H:]M:SS";
  };
  return app
      .add_option_function<std::string>(
          name, [&value](const std::string& given) { value = parse_time(given); }, text)
      ->type_name("TIME")
      ->check(CLI::Validator(is_refused, ""));
}

void add_paths(CLI::App& app, path_arguments& input) {
  app.add_option("--files-from", input.list, "read more paths from FILE, one a line; - is standard input")
      ->type_name("FILE");
  app.add_flag("-0,--null", input.nul_separated, "the paths of --files-from end with a NUL byte, not with a line");
}

void add_input(CLI::App& app, path_arguments& input, unsigned& jobs, const std::string& usual_jobs) {
  add_paths(app, input);
  add_number(app, "-j,--jobs", jobs, 1u, most_jobs, ("work on N files at once (" + usual_jobs + ")").c_str());
}

void require_paths(path_arguments& input, std::vector<std::string> operands) {
  input.paths = std::move(operands);
  cli::require_paths(input);
}

// --- verbs -----------------------------------------------------------------------------------------------------------

/// One parse of one verb: the options that the parser fills, and what becomes of them with the operands.
class verb_parser {
 public:
  virtual ~verb_parser() = default;
  virtual void define(CLI::App& app) = 0;
  virtual request finish(std::vector<std::string> operands) = 0;
  /// What `--help` asks for beside `operands`; `page` tells of the verb.
  virtual request finish_help(const std::vector<std::string>& /*operands*/, std::string page) {
    return text_request{std::move(page)};
  }
  /// Whether operands that look like options go to `finish_marked` all the same.
  virtual bool takes_options_of_others() const { return false; }
  /// For verbs to which it matters what stands before a "--".
  virtual request finish_marked(marked_operands operands) {
    auto all = std::move(operands.before);
    all.insert(all.end(), std::make_move_iterator(operands.after.begin()),
               std::make_move_iterator(operands.after.end()));
    return finish(std::move(all));
  }
};

class formats_parser : public verb_parser {
  void define(CLI::App& app) override { app.add_flag("--json", options_.json, "one JSON object a line"); }
  request finish(std::vector<std::string> operands) override {
    if (!operands.empty()) throw usage_error("formats takes no PATH");
    return options_;
  }
  formats_options options_;
};

class info_parser : public verb_parser {
  void define(CLI::App& app) override {
    app.add_flag("--json", options_.json, "one JSON object a line for each path");
    app.add_flag("--fast", options_.fast, "don't read files whole that don't tell their length: estimate it");
    app.add_flag("--io-stats", options_.io_statistics, "tell how often and how much was read");
    add_input(app, options_.input, options_.jobs, "as many as there are processors, up to 4");
  }
  request finish(std::vector<std::string> operands) override {
    require_paths(options_.input, std::move(operands));
    return options_;
  }
  info_options options_;
};

class decode_parser : public verb_parser {
  void define(CLI::App& app) override {
    app.add_option("-o,--output", options_.output,
                   "where the samples go: a file, an existing directory for files named after their sources, or - for "
                   "standard output")
        ->type_name("OUT");
    app.add_option("--format", format_, "wav, or headerless little-endian samples: float or signed integers (wav)")
        ->type_name("wav|f32|s16|s24|s32")
        ->check(one_of({"wav", "f32", "s16", "s24", "s32"}));
    app.add_option("--bits", bits_, "integers of that width in the WAV file, in place of 32-bit float")
        ->type_name("16|24|32")
        ->check(one_of({"16", "24", "32"}));
    add_number(app, "--subsong", options_.subsong, 0u, std::numeric_limits<std::uint32_t>::max(),
               "decode subsong N, as numbered by info (the first)");
    add_time(app, "--start", start_, "begin so far into the track, to the sample: seconds, or [H:]M:SS");
    add_time(app, "--length", options_.length, "stop after that time, to the sample");
    app.add_flag("--no-postprocess", no_postprocess_, "leave coded streams that are carried in PCM as they are");
    add_input(app, options_.input, options_.jobs, "1");
  }

  request finish(std::vector<std::string> operands) override {
    require_paths(options_.input, std::move(operands));
    if (options_.output.empty()) throw usage_error("-o OUT is missing");
    options_.format = combined_format();
    options_.start = start_.value_or(0);
    options_.postprocess = !no_postprocess_;
    return options_;
  }

  output_format combined_format() const {
    struct row {
      std::string_view format;
      std::string_view bits;
      output_format result;
    };
    constexpr std::array<row, 8> rows{{{"wav", "", output_format::wav_float},
                                       {"wav", "16", output_format::wav_s16},
                                       {"wav", "24", output_format::wav_s24},
                                       {"wav", "32", output_format::wav_s32},
                                       {"f32", "", output_format::f32},
                                       {"s16", "", output_format::s16},
                                       {"s24", "", output_format::s24},
                                       {"s32", "", output_format::s32}}};
    for (const auto& r : rows)
      if (r.format == format_ && r.bits == bits_) return r.result;
    throw usage_error("--bits goes with --format wav");
  }

  decode_options options_;
  std::string format_ = "wav";
  std::string bits_;
  std::optional<double> start_;
  bool no_postprocess_ = false;
};

class verify_parser : public verb_parser {
  void define(CLI::App& app) override {
    add_number(app, "--seeks", options_.seeks, 0u, most_seeks, "compare N random seeks with the linear decode");
    add_number(app, "--seed", options_.seed, std::uint64_t{0}, std::numeric_limits<std::uint64_t>::max(),
               "where the random positions start (1)")
        ->type_name("K");
    app.add_flag("--json", options_.json, "one JSON object a line for each subsong");
    add_input(app, options_.input, options_.jobs, "1");
  }
  request finish(std::vector<std::string> operands) override {
    require_paths(options_.input, std::move(operands));
    return options_;
  }
  verify_options options_;
};

class tag_parser : public verb_parser {
  void define(CLI::App& app) override {
    app.add_flag("--dry-run", options_.dry_run, "show what would change, and change nothing");
    add_number(app, "--subsong", options_.subsong, 0u, std::numeric_limits<std::uint32_t>::max(),
               "subsong N, as numbered by info, alone (all); for copy that of SOURCE");
    app.add_flag("--json", options_.json, "one JSON object a line for each path");
    add_input(app, options_.input, options_.jobs, "1; show: as many as there are processors, up to 4");
  }

  request finish_marked(marked_operands operands) override {
    auto& first = operands.before.empty() ? operands.after : operands.before;
    if (first.empty()) throw usage_error(fmt::format("tag needs one of {}", fmt::join(action_names, ", ")));
    const auto found = std::ranges::find(action_names, first.front());
    if (found == action_names.end())
      throw usage_error(
          fmt::format("tag knows {}, not \"{}\"", fmt::join(action_names, ", "), escape_for_display(first.front())));
    options_.action = static_cast<tag_action>(found - action_names.begin());
    first.erase(first.begin());
    check_options();
    auto split = split_tag_operands(options_.action, std::move(operands));
    options_.fields = std::move(split.fields);
    check_fields();
    return finish(std::move(split.paths));
  }

  request finish(std::vector<std::string> operands) override {
    if (options_.action == tag_action::copy) {
      if (operands.empty()) throw usage_error("no SOURCE is given");
      options_.source = std::move(operands.front());
      operands.erase(operands.begin());
    }
    require_paths(options_.input, std::move(operands));
    return options_;
  }

  void check_options() const {
    if (options_.dry_run && options_.action == tag_action::show) throw usage_error("tag show changes nothing anyway");
    if (options_.subsong && options_.action == tag_action::clear)
      throw usage_error("tag clear takes the tags of a file, not those of a subsong");
  }

  void check_fields() const {
    const bool assigns = options_.action == tag_action::set || options_.action == tag_action::add;
    if (assigns && options_.fields.empty()) throw usage_error("no NAME=VALUE is given");
    if (options_.action == tag_action::remove && options_.fields.empty()) throw usage_error("no NAME is given");
  }

  /// In the order of `tag_action`.
  static constexpr std::array<std::string_view, 6> action_names{"show", "set", "add", "remove", "clear", "copy"};

  tag_options options_;
};

class commands_parser : public verb_parser {
  void define(CLI::App& app) override { app.add_flag("--json", options_.json, "one JSON object a line"); }
  request finish(std::vector<std::string> operands) override {
    if (operands.size() > 1) throw usage_error("commands takes one COMMAND");
    if (!operands.empty()) options_.command = std::move(operands.front());
    return options_;
  }
  commands_options options_;
};

class run_parser : public verb_parser {
  void define(CLI::App& app) override {
    app.add_flag("-y,--yes", options_.yes,
                 "answer every question of the command with yes, and take the defaults of what it asks for");
    add_paths(app, options_.input);
  }

  bool takes_options_of_others() const override { return true; }

  request finish_help(const std::vector<std::string>& operands, std::string page) override {
    if (operands.empty() || operands.front().starts_with('-')) return text_request{std::move(page)};
    return commands_options{operands.front()};
  }

  request finish_marked(marked_operands operands) override {
    options_.input.paths = std::move(operands.after);
    return finish(std::move(operands.before));
  }

  request finish(std::vector<std::string> operands) override {
    if (operands.empty()) throw usage_error("no COMMAND is given");
    options_.command = std::move(operands.front());
    // What an option of a command is, its name must tell first.
    if (options_.command.starts_with('-'))
      throw usage_error(fmt::format("unknown option \"{}\"", escape_for_display(options_.command)));
    options_.arguments.assign(std::make_move_iterator(operands.begin() + 1), std::make_move_iterator(operands.end()));
    return options_;
  }

  run_options options_;
};

class config_parser : public verb_parser {
  void define(CLI::App& app) override {
    app.add_flag("--json", options_.json, "list: one JSON object a line");
    app.add_flag("--all", all_, "reset: every setting");
  }

  request finish(std::vector<std::string> operands) override {
    if (operands.empty()) throw usage_error("config needs one of list, get, set, reset");
    const auto action = std::move(operands.front());
    operands.erase(operands.begin());
    if (options_.json && action != "list") throw usage_error("--json goes with config list");
    if (all_ && action != "reset") throw usage_error("--all goes with config reset");
    if (action == "list") return finish_list(operands);
    if (action == "get") return finish_keys(config_action::get, std::move(operands));
    if (action == "reset") return finish_keys(config_action::reset, std::move(operands));
    if (action == "set") return finish_set(operands);
    throw usage_error(fmt::format("config knows list, get, set and reset, not \"{}\"", action));
  }

  request finish_list(const std::vector<std::string>& operands) {
    if (!operands.empty()) throw usage_error("config list takes no KEY");
    return options_;
  }

  request finish_keys(config_action action, std::vector<std::string> operands) {
    if (operands.empty() != all_) throw usage_error(all_ ? "--all stands alone" : "no KEY is given");
    options_.action = action;
    options_.keys = std::move(operands);
    return options_;
  }

  request finish_set(const std::vector<std::string>& operands) {
    options_.action = config_action::set;
    if (operands.size() == 2 && operands[0].find('=') == std::string::npos) {
      options_.keys.push_back(operands[0]);
      options_.values.push_back(operands[1]);
      return options_;
    }
    for (const auto& pair : operands) {
      const auto sign = pair.find('=');
      if (sign == std::string::npos) throw usage_error(fmt::format("\"{}\" has no value: KEY=VALUE", pair));
      options_.keys.push_back(pair.substr(0, sign));
      options_.values.push_back(pair.substr(sign + 1));
    }
    if (operands.empty()) throw usage_error("no KEY=VALUE is given");
    return options_;
  }

  config_options options_;
  bool all_ = false;
};

template <class Parser>
std::unique_ptr<verb_parser> make() {
  return std::make_unique<Parser>();
}

struct verb_row {
  const char* name;
  const char* operands;
  const char* summary;
  const char* details;
  std::unique_ptr<verb_parser> (*parser)();
  std::vector<example> examples;
};

const std::vector<verb_row>& verb_rows() {
  static const std::vector<verb_row> rows{
      {"formats",
       "",
       "list the inputs",
       "Lists each input with the file extensions, path schemes and content types that it answers to. An input may "
       "open "
       "files under other names as well: where no name helps, the first bytes decide.",
       make<formats_parser>,
       {{"zel formats", "everything that can be read"}, {"zel formats --json", "the same for programs"}}},
      {"info",
       "PATH...",
       "describe files",
       "Prints for each PATH its input, length, technical fields, tags and gains. A PATH is anything that an input "
       "claims: a file, or a scheme such as tone://440,2. Files that can't be read are told on standard error; the "
       "rest "
       "is still done.",
       make<info_parser>,
       {{"zel info song.flac", "one file"},
        {"zel info --json *.wav", "one JSON object a line"},
        {"find Music -type f -print0 | zel info --json -j 4 --files-from - -0",
         "a whole library, four files at once"}}},
      {"decode",
       "-o OUT PATH...",
       "decode to PCM",
       "Decodes to a WAV file of 32-bit float with the right channel mask, to integers of a width given by --bits, or "
       "to "
       "headerless samples. Integers are rounded to nearest, ties to even, and clamped; no dither is added. The file "
       "appears under its name when it is complete. WAV files that would pass 4 GiB become RF64. Several paths need a "
       "directory for OUT.",
       make<decode_parser>,
       {{"zel decode -o song.wav song.flac", "to 32-bit float"},
        {"zel decode --bits 16 -o cd/ *.flac", "each to cd/NAME.wav, 16 bits wide"},
        {"zel decode --format s16 -o - --start 60 --length 10 song.mp3 | aplay -f cd", "ten seconds to a player"}}},
      {"verify",
       "PATH...",
       "check that files decode in full",
       "Decodes every subsong in full, with stored checksums compared and stream errors noticed, and tells the number "
       "of "
       "samples and the MD5 of the 32-bit float PCM. The length told must be the length decoded. With --seeks, the "
       "samples "
       "after N seeks must be those of the linear decode: the first sample, the second, the last, the exact end, and "
       "random positions.",
       make<verify_parser>,
       {{"zel verify *.flac", "are they whole?"},
        {"zel verify --seeks 200 song.mp3", "is seeking exact?"},
        {"zel verify --json --files-from list -j 2 > report", "a report for programs"}}},
      {"tag",
       "show PATH... | set NAME=VALUE... PATH... | add NAME=VALUE... PATH... | remove NAME[=VALUE]... PATH... | "
       "clear PATH... | copy SOURCE TARGET...",
       "show and edit tags",
       "show prints NAME=VALUE lines. set gives fields their values: a NAME that is given several times has several, "
       "NAME= takes the field away, NAME=@FILE reads the value from a UTF-8 file, and NAME=@@TEXT is a value that "
       "begins "
       "with @. add appends values; remove takes away a field, or one value of it; clear takes away all tags; copy "
       "puts "
       "the fields and gains of SOURCE in the place of those of each TARGET. The names replaygain_track_gain, "
       "replaygain_track_peak, replaygain_album_gain and replaygain_album_peak are the gains. The leading operands of "
       "the form NAME=VALUE, without a slash in NAME, are fields, and for remove the first operand in any case; what "
       "follows is paths. With -- behind the fields there is no doubt, and remove takes several names. A file that an "
       "edit does not change is not written to.",
       make<tag_parser>,
       {{"zel tag set title=Aria \"artist=Ann Other\" song.flac", "two fields"},
        {"zel tag set genre=Jazz genre=Blues -- *.flac", "two values of one field, in many files"},
        {"zel tag set lyrics=@words.txt comment= song.mp3", "a value from a file, and a field less"},
        {"zel tag remove --dry-run comment *.mp3", "what would be removed?"},
        {"zel tag copy song.flac song.mp3", "the same fields in another file"}}},
      {"commands",
       "[COMMAND]",
       "list the commands for run",
       "Lists by group what the plug-in can do to files beyond reading and tags. A player shows the same in its menus. "
       "With a COMMAND, tells what it asks for.",
       make<commands_parser>,
       {{"zel commands", "names and what they do"},
        {"zel commands \"MP3 tag types...\"", "one of them, and its options"},
        {"zel commands --json", "the same for programs"}}},
      {"run",
       "COMMAND PATH...",
       "run a command on files",
       "Runs the command of that name, in any case of its letters, on all tracks of all files at once. A command that "
       "does not apply to the files is refused. When some of them fail the rest is still done, and a message at the "
       "end tells which, and why. What a command asks for is asked on the terminal, or told by options behind its "
       "name, which zel run COMMAND --help lists; without a terminal they have to be told, or --yes takes the "
       "defaults. "
       "Questions are answered with no there, unless --yes says otherwise.",
       make<run_parser>,
       {{"zel run \"MP3 tag types...\" --kinds id3v2,id3v1 *.mp3", "with an option of the command"},
        {"zel run \"Copy track ReplayGain to SoundCheck\" *.m4a", "levels for players that know no other"},
        {"zel run \"Remove SoundCheck information\" --files-from list", "and away with them"}}},
      {"config",
       "list | get KEY... | set KEY=VALUE... | reset KEY...",
       "show and change settings",
       "list prints the tree of settings with their keys and values; those that are not at their default are marked "
       "with *. set takes KEY VALUE or any number of KEY=VALUE, and changes all or nothing. Of the choices of a group "
       "one "
       "is always \"yes\": setting another moves it. reset puts defaults back, with --all those of every setting.",
       make<config_parser>,
       {{"zel config list", "all settings"},
        {"zel config set decoding.toneRate=48000", "the rate of tone:// and sweep://"},
        {"zel config reset --all", "as shipped"}}},
  };
  return rows;
}

const verb_row* find_verb(std::string_view name) {
  const auto& rows = verb_rows();
  const auto found = std::ranges::find_if(rows, [&](const verb_row& row) { return name == row.name; });
  return found == rows.end() ? nullptr : &*found;
}

std::unique_ptr<CLI::App> make_app(const verb_row& row) {
  auto app = std::make_unique<CLI::App>(row.summary, row.name);
  app->allow_extras();
  app->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app->set_help_flag("-h,--help", "print this help");
  return app;
}

// --- descriptions ----------------------------------------------------------------------------------------------------

option_description describe(const CLI::Option& option) {
  option_description result;
  for (const auto& name : option.get_snames()) result.names.push_back("-" + name);
  for (const auto& name : option.get_lnames()) result.names.push_back("--" + name);
  if (option.get_items_expected_max() > 0) result.argument = option.get_type_name();
  result.text = option.get_description();
  return result;
}

verb_description describe(const verb_row& row) {
  const auto app = make_app(row);
  const auto parser = row.parser();
  parser->define(*app);
  verb_description result{row.name, row.operands, row.summary, row.details, {}, row.examples};
  for (const auto* option : std::as_const(*app).get_options()) result.options.push_back(describe(*option));
  // The parser keeps its own option first; readers look for theirs.
  std::rotate(result.options.begin(), result.options.begin() + 1, result.options.end());
  return result;
}

std::vector<verb_description> describe_all() {
  std::vector<verb_description> result;
  for (const auto& row : verb_rows()) result.push_back(describe(row));
  return result;
}

// --- parsing ---------------------------------------------------------------------------------------------------------

[[noreturn]] void raise_unknown_verb(const std::string& name) {
  std::string message = fmt::format("unknown verb \"{}\"", name);
  std::vector<std::string> names;
  for (const auto& row : verb_rows()) names.emplace_back(row.name);
  if (const auto nearest = nearest_names(name, names); !nearest.empty())
    message += fmt::format("; did you mean \"{}\"?", nearest.front());
  throw usage_error(message);
}

request parse_verb(const verb_row& row, std::span<const std::string> arguments) {
  // What follows "--" never reaches the parser, nor does it see operands as anything of its own: a path may look like
  // an option, or stand in brackets.
  const auto mark = std::ranges::find(arguments, "--");
  std::vector<std::string> given(arguments.begin(), mark);
  const auto app = make_app(row);
  const auto parser = row.parser();
  parser->define(*app);
  try {
    std::ranges::reverse(given); // as the parser wants them
    app->parse(given);
  } catch (const CLI::CallForHelp&) {
    return parser->finish_help(app->remaining(), render_verb_help(describe(row)));
  } catch (const CLI::Error& error) {
    throw usage_error(error.what(), row.name);
  }
  auto operands = app->remaining();
  for (const auto& operand : operands)
    if (operand.size() > 1 && operand.front() == '-' && !parser->takes_options_of_others())
      throw usage_error(fmt::format("unknown option \"{}\"", operand), row.name);
  marked_operands marked{std::move(operands), {}, mark != arguments.end()};
  if (marked.has_mark) marked.after.assign(mark + 1, arguments.end());
  try {
    return parser->finish_marked(std::move(marked));
  } catch (const usage_error& error) {
    throw usage_error(error.what(), row.name);
  }
}

request generate(std::span<const std::string> arguments) {
  if (arguments.size() == 1 && arguments[0] == "man") return text_request{render_manual_page(describe_all())};
  if (arguments.size() == 1 && arguments[0] == "completion") return text_request{render_completion(describe_all())};
  throw usage_error("--generate makes man or completion");
}

} // namespace

void require_paths(const path_arguments& input, const std::string& verb) {
  if (input.paths.empty() && input.list.empty()) throw usage_error("no PATH is given", verb);
  if (input.nul_separated && input.list.empty()) throw usage_error("-0 needs --files-from", verb);
}

std::string program_help() { return render_program_help(describe_all()); }

request parse_command_line(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw usage_error("no verb is given");
  const auto& first = arguments.front();
  const auto rest = std::span(arguments).subspan(1);
  if (first == "--version") return text_request{version_text()};
  if (first == "--generate") return generate(rest);
  if (first == "-h" || first == "--help" || first == "help") {
    if (rest.empty()) return text_request{program_help()};
    const auto* row = find_verb(rest.front());
    if (row == nullptr) raise_unknown_verb(rest.front());
    return text_request{render_verb_help(describe(*row))};
  }
  if (first.starts_with("-")) throw usage_error(fmt::format("unknown option \"{}\"", first));
  const auto* row = find_verb(first);
  if (row == nullptr) raise_unknown_verb(first);
  return parse_verb(*row, rest);
}

} // namespace zelmora::cli

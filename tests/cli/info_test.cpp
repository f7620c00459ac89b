#include "cli/zel_process.h"

#include <fmt/core.h>
#include <sys/stat.h>

namespace zelmora::test {

namespace {

using Info = ZelTest;
using json = nlohmann::ordered_json;

std::vector<std::string> member_names(const json& object) {
  std::vector<std::string> result;
  for (const auto& [name, value] : object.items()) result.push_back(name);
  return result;
}

TEST_F(Info, JsonHasTheAgreedShape) {
  const auto wav = float_wav(ramp(4000), 8000, 2);
  write("a.wav", wav);
  const auto result = zel({"info", "--json", "--io-stats", "a.wav", "tone://440", "no.wav"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: no.wav: Object not found\n");
  const auto objects = json_lines_of(result.out);
  ASSERT_EQ(objects.size(), 3u);

  const std::vector<std::string> members{"path", "input", "size", "subsongs", "pictures", "warnings", "io"};
  EXPECT_EQ(member_names(objects[0]), members);
  EXPECT_EQ(objects[0]["path"], "a.wav");
  EXPECT_EQ(objects[0]["input"], "zelmora WAV Decoder");
  EXPECT_EQ(objects[0]["size"], wav.size());
  EXPECT_EQ(objects[0]["pictures"], json::array());
  EXPECT_EQ(objects[0]["warnings"], json::array());
  EXPECT_EQ(member_names(objects[0]["io"]),
            (std::vector<std::string>{"reads", "bytes_read", "seeks", "writes", "bytes_written"}));
  EXPECT_GT(objects[0]["io"]["reads"], 0);
  EXPECT_GT(objects[0]["io"]["bytes_read"], 0);
  const auto& subsong = objects[0]["subsongs"].at(0);
  EXPECT_EQ(member_names(subsong), (std::vector<std::string>{"subsong", "length", "info", "meta", "replaygain"}));
  EXPECT_EQ(subsong["subsong"], 0);
  EXPECT_EQ(subsong["length"], 0.25);
  EXPECT_EQ(subsong["info"]["samplerate"], "8000");
  EXPECT_EQ(subsong["info"]["channels"], "2");

  EXPECT_TRUE(objects[1]["size"].is_null());
  EXPECT_TRUE(objects[1]["subsongs"].at(0)["length"].is_null());
  EXPECT_EQ(objects[1]["subsongs"].at(0)["meta"]["title"], json::array({"Tone: 440 Hz"}));
  EXPECT_EQ(objects[2].dump(),
            R"({"path":"no.wav","error":{"type":"exception_io_not_found","message":"Object not found"}})");
}

TEST_F(Info, StatisticsComeOnlyWhenAskedFor) {
  EXPECT_FALSE(json_lines_of(zel({"info", "--json", "tone://440"}).out).at(0).contains("io"));
  EXPECT_EQ(zel({"info", "tone://440"}).out.find("\n  io "), std::string::npos);
  EXPECT_NE(zel({"info", "--io-stats", "tone://440"}).out.find("\n  io "), std::string::npos);
}

TEST_F(Info, FastForgoesReadingAllOfAFile) {
  const std::string file = ZEL_SOURCE_DIR "/tests/data/mpeg/vbr_no_header.mp3";
  const auto source = [&](const std::vector<std::string>& arguments) {
    return json_lines_of(zel(arguments).out).at(0)["subsongs"].at(0)["info"]["length_source"];
  };
  EXPECT_EQ(source({"info", "--json", "--fast", file}), "estimate");
  EXPECT_EQ(source({"info", "--json", file}), "scan");
}

TEST_F(Info, TextIsOneAlignedBlockAFile) {
  const auto result = zel({"info", "silence://3723.5,8000,1", "tone://440"});
  EXPECT_EQ(result.status, 0);
  const auto lines = lines_of(result.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "silence://3723.5,8000,1");
  EXPECT_EQ(lines[1], "  input               zelmora Silence Decoder");
  EXPECT_EQ(lines[2], "  length              1:02:03.500");
  const auto second = std::ranges::find(lines, "tone://440");
  ASSERT_NE(second, lines.end());
  EXPECT_EQ(*(second - 1), "");
  EXPECT_EQ(second[2], "  length              unknown");
}

TEST_F(Info, WarningsOfTheInputAreTold) {
  auto wav = float_wav(ramp(4000));
  wav.resize(wav.size() - 1001);
  write("cut.wav", wav);
  const auto result = zel({"info", "--json", "cut.wav"});
  EXPECT_EQ(result.status, 0);
  EXPECT_FALSE(json_lines_of(result.out).at(0)["warnings"].empty());
  EXPECT_NE(zel({"info", "cut.wav"}).out.find("\n  warning  "), std::string::npos);
}

struct list_case {
  const char* name;
  std::string list;
  std::vector<std::string> options;
  std::vector<std::string> paths;
};

class PathList : public ZelTest, public testing::WithParamInterface<list_case> {};

TEST_P(PathList, IsReadInOrder) {
  const auto& c = GetParam();
  write("list", c.list);
  for (const bool from_file : {true, false}) {
    std::vector<std::string> arguments{"info", "--json", "--files-from", from_file ? "list" : "-"};
    arguments.insert(arguments.end(), c.options.begin(), c.options.end());
    const auto result = zel(arguments, {.input = from_file ? "" : c.list});
    std::vector<std::string> paths;
    for (const auto& object : json_lines_of(result.out)) paths.push_back(object["path"]);
    EXPECT_EQ(paths, c.paths);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, PathList,
    testing::Values(list_case{"Lines", "tone://1\ntone://2\n", {}, {"tone://1", "tone://2"}},
                    list_case{"NoLastEnd", "tone://1\ntone://2", {}, {"tone://1", "tone://2"}},
                    list_case{"EmptyLines", "\n\ntone://1\n\n\ntone://2\n\n", {}, {"tone://1", "tone://2"}},
                    list_case{"Nothing", "", {}, {}}, list_case{"BlanksAreOfThePath", " a \n", {}, {" a "}},
                    list_case{
                        "Nul", std::string("tone://1\0a\nb\0tone://2", 21), {"-0"}, {"tone://1", "a\nb", "tone://2"}},
                    list_case{"AfterThoseOfTheCommand", "tone://2\n", {"tone://1"}, {"tone://1", "tone://2"}},
                    list_case{"LooksLikeAnOption", "--json\n-x\n", {}, {"--json", "-x"}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Info, PathsThatLookLikeSyntaxAreTakenAsTheyStand) {
  for (const std::string name : {"[a,b]", "--json", "-", "config", "{x}", "100%"}) {
    write(name, float_wav(ramp(8)));
    const auto objects = json_lines_of(zel({"info", "--json", "--", name}).out);
    ASSERT_EQ(objects.size(), 1u) << name;
    EXPECT_EQ(objects[0]["path"], name);
    EXPECT_TRUE(objects[0].contains("subsongs")) << objects[0];
  }
}

TEST_F(Info, AListThatCantBeReadFails) {
  const auto missing = zel({"info", "--files-from", "no-list"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "zel: no-list: Object not found\n");
  const auto endless = zel({"info", "--files-from", "/dev/zero"});
  EXPECT_EQ(endless.status, 1);
  EXPECT_EQ(endless.err, "zel: /dev/zero: A line is too long\n");
}

TEST_F(Info, ManyAtOnceKeepTheOrder) {
  std::string list;
  std::vector<std::string> wanted;
  for (int i = 1; i <= 500; ++i) {
    // Every seventh fails, and is told in its turn.
    wanted.push_back(i % 7 == 0 ? fmt::format("missing{}", i) : fmt::format("tone://{}", i));
    list += wanted.back() + '\n';
  }
  for (const char* jobs : {"1", "2", "7", "64"}) {
    const auto result = zel({"info", "--json", "-j", jobs, "--files-from", "-"}, {.input = list});
    EXPECT_EQ(result.status, 1);
    std::vector<std::string> paths;
    for (const auto& object : json_lines_of(result.out)) paths.push_back(object["path"]);
    EXPECT_EQ(paths, wanted) << jobs;
    EXPECT_EQ(lines_of(result.err).size(), 71u);
    EXPECT_EQ(lines_of(result.err).at(0), "zel: missing7: Object not found");
  }
}

TEST_F(Info, BadPathsEachGetAClearMessage) {
  ASSERT_EQ(::mkdir(path("dir").c_str(), 0777), 0);
  ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0666), 0);
  ASSERT_EQ(::mkfifo(path("fifo.wav").c_str(), 0666), 0);
  write("junk", std::string(5000, 'j'));
  write("junk.wav", std::string(5000, 'j'));
  write("empty.wav", "");
  struct row {
    std::string path;
    std::string line;
  };
  const std::vector<row> rows{{"dir", "zel: dir: Is a directory"},
                              {"fifo", "zel: fifo: Not a regular file (FIFO)"},
                              {"fifo.wav", "zel: fifo.wav: Not a regular file (FIFO)"},
                              {"/dev/zero", "zel: /dev/zero: Not a regular file (device)"},
                              {"no\nsuch", "zel: no\\nsuch: Object not found"},
                              {"no\xFFsuch", "zel: no\\xFFsuch: Object not found"},
                              {"junk", "zel: junk: Unsupported file format"},
                              {"junk.wav", "zel: junk.wav: Unsupported format or corrupted file"},
                              {"empty.wav", "zel: empty.wav: Unsupported format or corrupted file"},
                              {"", "zel: \"\": Invalid path"},
                              {"gopher://x/y", "zel: gopher://x/y: Invalid path"}};
  std::vector<std::string> arguments{"info", "--json", "--"};
  for (const auto& r : rows) arguments.push_back(r.path);
  arguments.emplace_back("tone://440,1");
  const auto result = zel(arguments);
  EXPECT_EQ(result.status, 1);
  const auto objects = json_lines_of(result.out);
  const auto errors = lines_of(result.err);
  ASSERT_EQ(objects.size(), rows.size() + 1);
  ASSERT_EQ(errors.size(), rows.size()) << result.err;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(errors[i], rows[i].line);
    EXPECT_TRUE(objects[i]["error"]["type"].get<std::string>().starts_with("exception_")) << objects[i];
  }
  EXPECT_EQ(objects[5]["path"], "no\xEF\xBF\xBDsuch"); // U+FFFD
  EXPECT_TRUE(objects.back().contains("subsongs"));
}

TEST_F(Info, AFileThatMayNotBeReadIsDenied) {
  write("secret.wav", float_wav(ramp(8)));
  ASSERT_EQ(::chmod(path("secret.wav").c_str(), 0), 0);
  const auto result = zel({"info", "secret.wav"}, {.as_nobody = true});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: secret.wav: Access denied\n");
}

TEST_F(Info, OddNamesOfRealFilesAreShownSafely) {
  const std::string name = "new\nline \x1B[31m\xFF.wav";
  write(name, float_wav(ramp(8)));
  const auto text = zel({"info", name});
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(lines_of(text.out).at(0), "new\\nline \\x1B[31m\\xFF.wav");
  EXPECT_EQ(json_lines_of(zel({"info", "--json", name}).out).at(0)["path"], "new\nline \x1B[31m\xEF\xBF\xBD.wav");
}

TEST_F(Info, PathsThatAreNoTextAreThereInBase64) {
  struct row {
    std::string path;
    std::string base64;
  };
  // Of each length that the padding tells apart; from base64(1).
  const std::vector<row> rows{{"\xFF.wav", "/y53YXY="}, {"a\xFE.wav", "Yf4ud2F2"}, {"ab\xC3.wav", "YWLDLndhdg=="}};
  for (const auto& r : rows) {
    write(r.path, float_wav(ramp(8)));
    EXPECT_EQ(json_lines_of(zel({"info", "--json", r.path}).out).at(0)["path_base64"], r.base64);
    EXPECT_EQ(json_lines_of(zel({"verify", "--json", r.path}).out).at(0)["path_base64"], r.base64);
    ASSERT_EQ(::unlink(path(r.path).c_str()), 0);
    EXPECT_EQ(json_lines_of(zel({"info", "--json", r.path}).out).at(0)["path_base64"], r.base64);
  }
  EXPECT_FALSE(json_lines_of(zel({"info", "--json", "\xC3\xA9.wav"}).out).at(0).contains("path_base64"));
}

TEST_F(Info, AListMayBeAFifoThatIsWrittenLater) {
  ASSERT_EQ(::mkfifo(path("list").c_str(), 0666), 0);
  running_zel child(directory_.path(), {"info", "--json", "-j", "2", "--files-from", "list"});
  std::ofstream(path("list")) << "tone://1\ntone://2\n";
  const auto result = child.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(lines_of(result.out).size(), 2u);
}

} // namespace

} // namespace zelmora::test

#include "cli/zel_process.h"

#include "frame/bytes.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

namespace zelmora::test {

namespace {

struct pipe_ends {
  int read = -1;
  int write = -1;
};

pipe_ends make_pipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {ends[0], ends[1]};
}

/// Standard input for the child: a file, so that no one has to feed it.
int input_of(const std::string& content) {
  auto* const file = std::tmpfile();
  if (file == nullptr) throw std::runtime_error("no temporary file");
  std::fwrite(content.data(), 1, content.size(), file);
  std::fflush(file);
  const int descriptor = ::fcntl(::fileno(file), F_DUPFD_CLOEXEC, 3);
  std::fclose(file);
  ::lseek(descriptor, 0, SEEK_SET);
  return descriptor;
}

/// The child dies with the test: an orphan that decodes without end would fill the disk.
void die_with(pid_t parent) {
  if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) ::_exit(123);
}

/// What the child runs.
struct program_files {
  std::string program = ZEL_PROGRAM;
  std::string plugin = ZEL_PLUGIN;
};

/// Copies that another user can reach wherever the build stands: below a private home directory, too.
class public_copies {
 public:
  public_copies() {
    auto name = (std::filesystem::temp_directory_path() / "zelmora-public-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_ = name;
    std::filesystem::permissions(directory_, std::filesystem::perms{0755});
    files.program = copy(files.program);
    files.plugin = copy(files.plugin);
  }
  ~public_copies() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  public_copies(const public_copies&) = delete;
  public_copies& operator=(const public_copies&) = delete;

  program_files files;

 private:
  std::string copy(const std::filesystem::path& from) const {
    auto to = directory_ / from.filename();
    std::filesystem::copy_file(from, to);
    return to.string();
  }

  std::filesystem::path directory_;
};

const program_files& files_for(const zel_setup& setup) {
  static const program_files own;
  if (!setup.as_nobody) return own;
  static const public_copies copies;
  return copies.files;
}

void drain(std::string& into, int& descriptor) {
  char block[65536];
  const auto got = ::read(descriptor, block, sizeof block);
  if (got > 0) {
    into.append(block, static_cast<std::size_t>(got));
    return;
  }
  ::close(descriptor);
  descriptor = -1;
}

} // namespace

running_zel::running_zel(const std::string& directory, const std::vector<std::string>& arguments,
                         const zel_setup& setup) {
  const auto& files = files_for(setup);
  std::vector<char*> argv{const_cast<char*>(files.program.c_str())};
  for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const int input = input_of(setup.input);
  const auto output = make_pipe();
  const auto errors = make_pipe();
  if (setup.close_output_early) ::close(output.read);
  if (setup.output_capacity > 0) ::fcntl(output.write, F_SETPIPE_SZ, setup.output_capacity);
  const auto parent = ::getpid();
  child_ = ::fork();
  if (child_ < 0) throw std::runtime_error("no child");
  if (child_ == 0) {
    ::setenv("ZELMORA_PLUGIN", files.plugin.c_str(), 1);
    ::setenv("ZELMORA_CONFIG_DIR", (directory + "/.config").c_str(), 1);
    if (::chdir(directory.c_str()) != 0) ::_exit(125);
    ::dup2(input, STDIN_FILENO);
    ::dup2(setup.output_path.empty() ? output.write : ::open(setup.output_path.c_str(), O_WRONLY | O_CREAT, 0666),
           STDOUT_FILENO);
    ::dup2(setup.merge_errors ? STDOUT_FILENO : errors.write, STDERR_FILENO);
    constexpr uid_t nobody = 65534;
    if (setup.as_nobody && ::geteuid() == 0 && ::setuid(nobody) != 0) ::_exit(124);
    die_with(parent); // a change of the user would undo it
    for (const int descriptor : setup.closed) ::close(descriptor);
    ::execv(files.program.c_str(), argv.data());
    ::_exit(126);
  }
  ::close(input);
  ::close(output.write);
  ::close(errors.write);
  output_ = setup.close_output_early ? -1 : output.read;
  errors_ = errors.read;
}

running_zel::~running_zel() {
  if (child_ > 0) {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  if (output_ >= 0) ::close(output_);
  if (errors_ >= 0) ::close(errors_);
}

void running_zel::interrupt(int number) const { ::kill(child_, number); }

bool running_zel::fill_output() const {
  siginfo_t ended{};
  for (;;) {
    // The pipe's other end anew, and not for long: while it is open the output has no end.
    pollfd other_end{::open(("/proc/self/fd/" + std::to_string(output_)).c_str(), O_WRONLY | O_CLOEXEC), POLLOUT, 0};
    const bool is_full = ::poll(&other_end, 1, 0) == 0;
    ::close(other_end.fd);
    if (is_full) return true;
    if (::waitid(P_PID, static_cast<id_t>(child_), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid != 0)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool running_zel::ends_unread() const {
  siginfo_t ended{};
  for (int i = 0; i < 20'000; ++i) {
    if (::waitid(P_PID, static_cast<id_t>(child_), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid != 0)
      return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

zel_result running_zel::wait() {
  zel_result result;
  while (output_ >= 0 || errors_ >= 0) {
    pollfd waited[2]{{output_, POLLIN, 0}, {errors_, POLLIN, 0}};
    ::poll(waited, 2, -1);
    if (waited[0].revents != 0) drain(result.out, output_);
    if (waited[1].revents != 0) drain(result.err, errors_);
  }
  int status = 0;
  ::waitpid(child_, &status, 0);
  child_ = -1;
  result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return result;
}

void ZelTest::write(std::string_view name, std::string_view content) const {
  std::ofstream out(path(name), std::ios::binary);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  ASSERT_TRUE(out.good()) << name;
}

std::vector<std::string> ZelTest::names() const {
  auto result = directory_.list();
  std::erase(result, ".config");
  return result;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> result;
  for (std::size_t start = 0; start < text.size();) {
    const auto end = text.find('\n', start);
    if (end == std::string::npos) throw std::runtime_error("a line without an end: " + text.substr(start));
    result.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return result;
}

std::vector<nlohmann::ordered_json> json_lines_of(const std::string& text) {
  std::vector<nlohmann::ordered_json> result;
  for (const auto& line : lines_of(text)) result.push_back(nlohmann::ordered_json::parse(line));
  return result;
}

std::string float_wav(const std::vector<float>& samples, std::uint32_t rate, std::uint16_t channels) {
  const auto data_size = static_cast<std::uint32_t>(samples.size() * 4);
  std::string out;
  const auto text = [&](std::string_view part) { out += part; };
  const auto number = [&](auto value) {
    char raw[sizeof value];
    store_le(raw, value);
    out.append(raw, sizeof raw);
  };
  text("RIFF");
  number(4 + 8 + 16 + 8 + data_size);
  text("WAVEfmt ");
  number(std::uint32_t{16});
  number(std::uint16_t{3}); // IEEE float
  number(channels);
  number(rate);
  number(rate * channels * 4);
  number(static_cast<std::uint16_t>(channels * 4));
  number(std::uint16_t{32});
  text("data");
  number(data_size);
  for (const auto sample : samples) number(sample);
  return out;
}

std::vector<float> floats_of(std::string_view bytes) {
  std::vector<float> result;
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) result.push_back(load_le<float>(bytes.data() + i));
  return result;
}

std::vector<std::int64_t> integers_of(std::string_view bytes, std::size_t width) {
  std::vector<std::int64_t> result;
  for (std::size_t i = 0; i + width <= bytes.size(); i += width) {
    std::uint64_t value = 0;
    for (std::size_t n = width; n-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i + n]);
    const auto unused = 64 - 8 * width;
    result.push_back(static_cast<std::int64_t>(value << unused) >> unused);
  }
  return result;
}

std::vector<float> ramp(std::size_t count) {
  std::vector<float> result(count);
  for (std::size_t i = 0; i < count; ++i) result[i] = static_cast<float>(i) / 1048576.0f;
  return result;
}

} // namespace zelmora::test

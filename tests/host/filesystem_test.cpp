// Paths, and the objects without one.
#include "frame/filesystem.h"

#include "host_fixture.h"
#include "support/syscall_faults.h"

namespace zelmora {
namespace {

using namespace zelmora_io;
using test::raised;
using test::read_bytes;
using test::write_bytes;

class Filesystem : public test::HostTest {};

TEST_F(Filesystem, CanonicalAndDisplayPaths) {
  const auto here = std::filesystem::current_path().string();
  const struct {
    std::string path, canonical, display;
  } rows[]{
      {"/a/b", "file:///a/b", "/a/b"},
      {"file:///a/b", "file:///a/b", "/a/b"},
      {"FILE:///a//./b/", "file:///a/b", "/a//./b/"},
      {"/a/../../b/c/..", "file:///b", "/a/../../b/c/.."},
      {"/", "file:///", "/"},
      {"/..", "file:///", "/.."},
      {"name", "file://" + here + "/name", "name"},
      {"./http://x", "file://" + here + "/http:/x", "./http://x"},
      {"1://x", "file://" + here + "/1:/x", "1://x"}, // no scheme begins with a digit
      {"a b%20\n\xff", "file://" + here + "/a b%20\n\xff", "a b%20\n\xff"},
      {"tempmem://", "tempmem://", "tempmem://"},
      {"TempFile://", "tempfile://", "tempfile://"},
      {"tone://440", "tone://440", "tone://440"}, // nobody's: given back as it is
      {"", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(filesystem::g_get_canonical_path(row.path), row.canonical);
    EXPECT_EQ(filesystem::g_get_display_path(row.path), row.display);
  }
}

TEST_F(Filesystem, MovesAndRemoves) {
  write_bytes(scratch / "a", "a");
  write_bytes(scratch / "b", "b");
  const auto service = filesystem::g_get_interface(scratch / "a");
  EXPECT_EQ(raised([&] { service->move(scratch / "a", scratch / "b", abort); }),
            "exception_io_already_exists: Object already exists");
  EXPECT_EQ(read_bytes(scratch / "b"), "b");
  service->move(scratch / "a", "file://" + (scratch / "c"), abort);
  EXPECT_EQ(read_bytes(scratch / "c"), "a");
  service->remove(scratch / "c", abort);
  EXPECT_EQ(scratch.list(), std::vector<std::string>{"b"});
  EXPECT_EQ(raised([&] { service->remove(scratch / "c", abort); }), "exception_io_not_found: Object not found");
  EXPECT_EQ(raised([&] { service->remove(scratch.path(), abort); }), "exception_io_denied: Is a directory");
  // A file system that knows no exclusive renaming.
  for (const auto& row : {std::pair{"b", "exception_io_already_exists: Object already exists"}, {"d", ""}}) {
    write_bytes(scratch / "a", "a");
    const test::syscall_watch watch({.fail_at = 0, .error = EINVAL});
    EXPECT_EQ(raised([&] { service->move(scratch / "a", scratch / row.first, abort); }), row.second);
  }
}

class Nameless : public Filesystem, public testing::WithParamInterface<const char*> {};

TEST_P(Nameless, HoldsWhatIsWritten) {
  ::setenv("TMPDIR", scratch.path().c_str(), 1);
  const auto content = test::pattern(100'000);
  const auto first = open(GetParam(), open_mode::write_new);
  const auto second = open(GetParam(), open_mode::write_new);
  first->write(content.data(), content.size(), abort);
  EXPECT_EQ(second->get_size(abort), 0u) << "each opening is an object of its own";
  first->seek(10, abort);
  std::string got(content.size(), '\0');
  EXPECT_EQ(first->read(got.data(), got.size(), abort), content.size() - 10);
  EXPECT_EQ(got.substr(0, content.size() - 10), content.substr(10));
  first->resize(4, abort);
  EXPECT_EQ(first->get_size(abort), 4u);
  EXPECT_EQ(first->is_in_memory(), std::string_view(GetParam()) == "tempmem://");
  EXPECT_TRUE(scratch.list().empty()) << "without a name";
  for (const auto mode : {open_mode::read, open_mode::write_existing})
    EXPECT_EQ(raised([&] { open(GetParam(), mode); }), "exception_io_not_found: Object not found");
  ::unsetenv("TMPDIR");
}

INSTANTIATE_TEST_SUITE_P(Schemes, Nameless, testing::Values("tempfile://", "tempmem://"),
                         [](const auto& instance) { return std::string(instance.param).substr(0, 7); });

TEST_F(Filesystem, TempFilesWithoutSupportOfTheFileSystem) {
  ::setenv("TMPDIR", scratch.path().c_str(), 1);
  for (const int error : {EOPNOTSUPP, EISDIR}) {
    const test::syscall_watch watch({.fail_at = 0, .error = error});
    const auto store = open("tempfile://", open_mode::write_new);
    store->write("x", 1, abort);
    EXPECT_TRUE(scratch.list().empty());
    EXPECT_EQ(watch.count("mkostemp"), 1u);
  }
  // A directory that can't take it: the next one does.
  ::setenv("TMPDIR", (scratch / "none").c_str(), 1);
  EXPECT_NO_THROW(open("tempfile://", open_mode::write_new));
  ::unsetenv("TMPDIR");
}

} // namespace
} // namespace zelmora

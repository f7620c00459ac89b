// Tables of commands as services, the walk over items, and the message about those that failed.
#include "frame/command_job.h"

#include "frame/exceptions.h"
#include "support/fake_front_end.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

constexpr context_command commands[]{
    {"Group", "First", "Does one thing.", [](media_items items, abort_callback&) { return items.size() == 1; },
     [](media_items) { return command_result::done; }},
    {"Other", "Second", "Does another.", [](media_items, abort_callback&) { return true; },
     [](media_items) { return command_result::some_failed; }},
};
context_command_factory factory(commands);

class ContextCommand : public testing::Test {
 protected:
  ContextCommand() {
    test::attach_own_services();
    test::reset_front_end();
  }

  abort_callback_dummy abort;
  item_failures failures{{"Could not do (", "): ", "."}};
};

std::vector<media_item> items_of(const std::vector<std::string>& paths) {
  std::vector<media_item> result;
  for (const auto& path : paths) result.push_back({path, 0});
  return result;
}

TEST_F(ContextCommand, ATableIsAService) {
  const auto entry = service_single<context_command_entry>();
  ASSERT_EQ(entry->get_command_count(), 2u);
  EXPECT_EQ(entry->describe(1).group, "Other");
  EXPECT_EQ(entry->describe(1).name, "Second");
  EXPECT_EQ(entry->describe(1).help, "Does another.");
  EXPECT_FALSE(entry->is_offered(0, items_of({"a", "b"}), abort));
  EXPECT_TRUE(entry->is_offered(1, items_of({"a", "b"}), abort));
  EXPECT_EQ(entry->run(1, {}), command_result::some_failed);
  EXPECT_THROW(entry->describe(2), kiv::exception_bug_check);
}

TEST_F(ContextCommand, AFailureDoesNotStopTheOthers) {
  const auto items = items_of({"dir/a", "b\nc", "d"});
  std::vector<std::string> worked;
  const auto result = process_items("Working", items, failures, [&](const media_item& item, abort_callback&) {
    worked.push_back(item.path);
    if (item.path != "d") throw zelmora_io::exception_io_denied();
  });
  EXPECT_EQ(result, command_result::some_failed);
  EXPECT_EQ(worked, (std::vector<std::string>{"dir/a", "b\nc", "d"}));
  EXPECT_EQ(test::front_end().jobs, std::vector<std::string>{"Working"});
  EXPECT_EQ(test::front_end().steps,
            (std::vector<std::pair<unsigned, std::string>>{{0, "dir/a"}, {1666, "b\nc"}, {3333, "d"}}));
  EXPECT_TRUE(test::front_end().messages.empty()) << "the command decides what is shown";
  failures.show("Title", "2 of 3.");
  ASSERT_EQ(test::front_end().messages.size(), 1u);
  EXPECT_EQ(test::front_end().messages[0].title, "Title");
  EXPECT_EQ(test::front_end().messages[0].text,
            "Could not do (dir/a): Access denied.\n\nCould not do (b\\nc): Access denied.\n\n2 of 3.");
}

TEST_F(ContextCommand, WithoutFailuresNothingIsShown) {
  EXPECT_EQ(process_items("Working", items_of({"a"}), failures, [](const media_item&, abort_callback&) {}),
            command_result::done);
  failures.show("Title", "0 of 1.");
  EXPECT_TRUE(test::front_end().messages.empty());
}

TEST_F(ContextCommand, AnAbortEndsTheWalkAndIsNoFailure) {
  int worked = 0;
  const auto abort_second = [&](const media_item&, abort_callback& token) {
    if (++worked == 2) test::front_end().interrupt->set();
    token.check();
  };
  EXPECT_EQ(process_items("Working", items_of({"a", "b", "c"}), failures, abort_second), command_result::aborted);
  EXPECT_EQ(worked, 2);
  EXPECT_EQ(failures.count(), 0u);
  // Work that never looks at the token is stopped between two items.
  EXPECT_EQ(process_items("Working", items_of({"a"}), failures, [&](const media_item&, abort_callback&) { ++worked; }),
            command_result::aborted);
  EXPECT_EQ(worked, 2);
}

TEST_F(ContextCommand, AFileOfSeveralTracksIsOne) {
  const std::vector<media_item> items{{"b", 1}, {"a", 0}, {"b", 2}, {"B", 1}, {"a", 0}};
  std::string paths;
  for (const auto& item : distinct_files(items)) paths += item.path + std::to_string(item.subsong);
  EXPECT_EQ(paths, "b1a0B1");
}

TEST_F(ContextCommand, ExtensionsOfTheFirstHundred) {
  const auto offered = [](const std::vector<std::string>& paths) {
    return all_have_extension(items_of(paths), "MP3;M4A");
  };
  EXPECT_FALSE(offered({}));
  EXPECT_TRUE(offered({"a.mp3", "dir.x/b.M4a", "file://c.MP3"}));
  EXPECT_FALSE(offered({"a.mp3", "b"}));
  EXPECT_FALSE(offered({"a.mp3."}));
  EXPECT_FALSE(offered({"dir.mp3/b"}));
  EXPECT_FALSE(offered({"a.mp"}));
  EXPECT_FALSE(offered({"a.mp3;m4a"}));
  std::vector<std::string> many(101, "a.mp3");
  many[100] = "beyond.txt";
  EXPECT_TRUE(offered(many));
  many[99] = "last.txt";
  EXPECT_FALSE(offered(many));
}

} // namespace
} // namespace zelmora

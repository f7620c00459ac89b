// The order of an edit's writes: wherever it stops, and whatever the disk has taken of it by then, the file has the old
// tags or the new, and its audio. Where it ends is compared with a plain model of stripping and writing.
#include "pcm/riff_plan.h"

#include "frame/exceptions.h"
#include "riff_bytes.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>

namespace zelmora::test {
namespace {

using namespace zelmora_io;

// --- Files in a small language ---------------------------------------------------------------------------------------

/// "f" the format, "d5" five bytes of audio, "J6" free, "i7" and "I7" ID3 in both spellings, "L8" an INFO list, "A9"
/// another list, "x3" something else; each with a payload of so many bytes.
std::string make_file(std::string_view layout) {
  std::string chunks;
  unsigned number = 0;
  while (!layout.empty()) {
    const char kind = layout.front();
    std::size_t digits = 1;
    while (digits < layout.size() && std::isdigit(static_cast<unsigned char>(layout[digits])) != 0) ++digits;
    const auto size = digits == 1 ? 0u : static_cast<unsigned>(std::stoul(std::string(layout.substr(1, digits - 1))));
    layout.remove_prefix(std::min(layout.size(), digits + 1));
    const std::string filler(size, static_cast<char>('a' + number++ % 26));
    const auto list = [&](std::string_view form) { return (std::string(form) + filler).substr(0, std::max(size, 4u)); };
    switch (kind) {
    case 'f': chunks += fmt_chunk(); break;
    case 'd': chunks += chunk("data", audio(size)); break;
    case 'J': chunks += chunk("JUNK", filler); break;
    case 'i': chunks += chunk("id3 ", filler); break;
    case 'I': chunks += chunk("ID3 ", filler); break;
    case 'L': chunks += chunk("LIST", list("INFO")); break;
    case 'A': chunks += chunk("LIST", list("adtl")); break;
    default: chunks += chunk("cue ", filler); break;
    }
  }
  return riff(chunks);
}

riff_layout layout_of(const bytes& file) {
  abort_callback_dummy abort;
  return read_riff_layout(*service_new<memory_file>(file), abort);
}

/// -1 leaves a kind alone, 0 removes it, n replaces it by n bytes.
riff_edit make_edit(int id3, int info) {
  riff_edit edit;
  edit.id3 = {id3 >= 0, to_bytes(std::string(static_cast<std::size_t>(std::max(id3, 0)), '+'))};
  edit.info = {info >= 0, {}};
  if (info > 0) edit.info.payload = to_bytes("INFO" + std::string(static_cast<std::size_t>(info), '*'));
  return edit;
}

// --- The model ------------------------------------------------------------------------------------------------------

struct model_chunk {
  std::string code;
  std::string payload; ///< empty for free chunks
  std::uint64_t length = 0;
  friend bool operator==(const model_chunk&, const model_chunk&) = default;
  friend std::ostream& operator<<(std::ostream& out, const model_chunk& c) { return out << c.code << ' ' << c.length; }
};

std::vector<model_chunk> model_of(const bytes& file) {
  std::vector<model_chunk> result;
  const auto text = to_text(file);
  for (const auto& c : layout_of(file).chunks) {
    const bool is_free = c.role == riff_role::junk;
    result.push_back(
        {std::string(c.code.view()), is_free ? "" : text.substr(c.payload(), c.size), c.end() - c.position});
  }
  return result;
}

void strip(std::vector<model_chunk>& chunks, const riff_edit& edit, bool may_cut) {
  std::vector<model_chunk> result;
  for (auto& c : chunks) {
    const bool is_id3 = c.code == "id3 " || c.code == "ID3 ";
    const bool is_info = c.code == "LIST" && c.payload.starts_with("INFO");
    if ((is_id3 && edit.id3.is_replaced) || (is_info && edit.info.is_replaced)) c = {"JUNK", "", c.length};
    if (c.code == "JUNK" && !result.empty() && result.back().code == "JUNK")
      result.back().length += c.length;
    else
      result.push_back(c);
  }
  if (may_cut && !result.empty() && result.back().code == "JUNK") result.pop_back();
  chunks = result;
}

void write(std::vector<model_chunk>& chunks, std::string_view code, const bytes& payload) {
  if (payload.empty()) return;
  model_chunk added{std::string(code), to_text(payload), 0};
  added.payload.resize(added.payload.size() + added.payload.size() % 2);
  added.length = 8 + added.payload.size();
  for (auto c = chunks.begin(); c != chunks.end(); ++c) {
    if (c->code != "JUNK" || (c->length != added.length && c->length < added.length + 8)) continue;
    c->length -= added.length;
    if (c->length == 0) c = chunks.erase(c);
    chunks.insert(c, added);
    return;
  }
  chunks.push_back(added);
}

std::vector<model_chunk> expected(const bytes& file, const riff_edit& edit) {
  auto chunks = model_of(file);
  strip(chunks, edit, !layout_of(file).has_foreign_tail);
  write(chunks, "id3 ", edit.id3.payload);
  write(chunks, "LIST", edit.info.payload);
  return chunks;
}

// --- Steps on bytes -------------------------------------------------------------------------------------------------

void apply(bytes& file, const riff_step& step, std::size_t limit = static_cast<std::size_t>(-1)) {
  if (step.kind == riff_step_kind::cut) file.resize(step.position);
  if (step.kind != riff_step_kind::write) return;
  const auto count = std::min(step.bytes.size(), limit);
  if (file.size() < step.position + count) file.resize(step.position + count);
  std::copy_n(step.bytes.begin(), count, file.begin() + static_cast<std::ptrdiff_t>(step.position));
}

/// Everything that may be on the disk when the edit ends early is handed to `look`, with a description.
void for_each_state(const bytes& old, const std::vector<riff_step>& steps,
                    const std::function<void(const bytes&, const std::string&)>& look) {
  bytes file = old; // after all steps before the last flush
  std::size_t first = 0;
  for (std::size_t n = 0; n <= steps.size(); ++n) {
    if (n < steps.size() && steps[n].kind != riff_step_kind::flush) continue;
    // Between two flushes the disk may take any of the writes, and any part of a long one.
    ASSERT_LE(n - first, 6u) << "too many writes between two flushes to try all subsets";
    for (std::size_t subset = 0; subset < std::size_t{1} << (n - first); ++subset) {
      auto state = file;
      for (std::size_t i = first; i < n; ++i)
        if ((subset >> (i - first) & 1) != 0) apply(state, steps[i]);
      look(state,
           "subset " + std::to_string(subset) + " of steps " + std::to_string(first) + " to " + std::to_string(n));
    }
    for (std::size_t i = first; i < n; ++i) {
      constexpr std::size_t atomic = 8;
      const auto size = steps[i].bytes.size();
      for (std::size_t limit = 1; size > atomic && limit < size; limit += limit < 40 || limit + 40 > size ? 1 : 13) {
        auto state = file;
        apply(state, steps[i], limit);
        look(state, (limit < 12 ? "first " : "") + std::to_string(limit) + " bytes of step " + std::to_string(i));
      }
      apply(file, steps[i]);
    }
    first = n + 1;
  }
}

void check_edit(const bytes& old, const riff_edit& edit, const std::string& what) {
  const auto layout = layout_of(old);
  const auto to = find_riff_destination(layout, edit);
  const auto before = look_at(old);
  bytes made;
  if (can_plan_riff_edit(layout, to)) {
    const auto steps = plan_riff_edit(layout, edit, to);
    made = old;
    for (const auto& step : steps) apply(made, step);
    const auto after = look_at(made);
    std::set<std::string> tags{before.tag(), after.tag()};
    for_each_state(old, steps, [&](const bytes& state, const std::string& where) {
      const auto now = look_at(state);
      ASSERT_EQ(now.data, before.data) << what << ": " << where;
      ASSERT_TRUE(tags.contains(now.tag())) << what << ": " << where << ": " << now.id3 << '/' << now.info;
      ASSERT_NO_THROW(layout_of(state)) << what << ": " << where << ": can't be edited again";
      // Where the first bytes of a write went over older ones, what it left may pass for somebody else's: it is kept.
      // So is a stub behind the last chunk.
      if ((!where.starts_with("first") || state.size() != old.size()) && layout.tail == layout.end) {
        ASSERT_EQ(layout_of(state).has_foreign_tail, layout.has_foreign_tail) << what << ": " << where;
      }
    });
    if (testing::Test::HasFatalFailure()) return;
  } else {
    for (const auto& piece : list_riff_pieces(layout, edit, to)) {
      made.insert(made.end(), piece.bytes.begin(), piece.bytes.end());
      made.insert(made.end(), old.begin() + static_cast<std::ptrdiff_t>(piece.begin),
                  old.begin() + static_cast<std::ptrdiff_t>(piece.end));
    }
  }
  const auto tail = to_text(old).substr(std::min<std::size_t>(layout.tail, old.size()));
  const auto result = layout_of(made);
  ASSERT_EQ(model_of(made), expected(old, edit)) << what;
  ASSERT_EQ(to_text(made).substr(std::min<std::size_t>(result.tail, made.size())), layout.has_foreign_tail ? tail : "")
      << what;
  ASSERT_EQ(look_at(made).data, before.data) << what;
}

constexpr int new_sizes[]{-1, 0, 2, 3, 22, 30, 38, 46, 300};

void check_all_edits(const bytes& file, const std::string& layout) {
  for (const int id3 : new_sizes)
    for (const int info : new_sizes) {
      if (id3 < 0 && info < 0) continue;
      check_edit(file, make_edit(id3, info), layout + " / " + std::to_string(id3) + " " + std::to_string(info));
      if (testing::Test::HasFatalFailure()) return;
    }
}

class riff_plan : public testing::TestWithParam<const char*> {};

TEST_P(riff_plan, every_prefix_is_the_old_file_or_the_new) {
  check_all_edits(to_bytes(make_file(GetParam())), GetParam());
}

TEST_P(riff_plan, also_with_bytes_behind_the_end_of_riff) {
  check_all_edits(to_bytes(make_file(GetParam()) + "TAGsomething"), GetParam());
}

INSTANTIATE_TEST_SUITE_P(layouts, riff_plan,
                         testing::Values("f d10", "f d11", "f d10 x7", "f J30 d10", "f J31 d11", "f J6 J14 d10",
                                         "f d10 J40", "f d10 J8 J22", "f d10 i30", "f d11 I31", "f i30 d10",
                                         "f L26 d10", "f d10 L26", "f d10 i30 L26", "f d10 L26 i30", "f L26 d10 i30",
                                         "f d10 i30 i40", "f i30 d10 i40", "f d10 L26 L44", "f J10 i30 J10 d10",
                                         "f J10 i30 d10 L26 J60", "f d10 J60 i30", "f d10 J44 L26 J8 i30 J0",
                                         "i30 L26 f d10", "f d10 A12 i30 x3 L27 A4", "f d2 J0", "f d10 i400",
                                         "f d10 i30 x2"));

TEST(riff_plan_random, files_of_any_chunks) {
  std::mt19937 random(20240229);
  const auto pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
  for (unsigned round = 0; round < 1500; ++round) {
    std::string layout;
    const auto chunks = 2 + pick(8);
    const auto data_at = 1 + pick(chunks - 1);
    for (unsigned n = 0; n < chunks; ++n) {
      if (n == 0)
        layout += "f ";
      else if (n == data_at)
        layout += "d" + std::to_string(1 + pick(20)) + " ";
      else
        layout += std::string(1, "JJJiILAx"[pick(8)]) + std::to_string(1 + pick(60)) + " ";
    }
    const auto edit = make_edit(static_cast<int>(pick(64)) - 1, static_cast<int>(pick(64)) - 1);
    if (!edit.id3.is_replaced && !edit.info.is_replaced) continue;
    const auto tail = pick(10) == 0 ? std::string("tail") : std::string();
    check_edit(to_bytes(make_file(layout) + tail), edit, layout);
    if (HasFatalFailure()) return;
  }
}

// --- Sizes that don't agree with the file ---------------------------------------------------------------------------

struct odd_file {
  const char* name;
  std::function<void(std::string&)> change;
  friend std::ostream& operator<<(std::ostream& out, const odd_file& row) { return out << row.name; }
};
void set_riff_size(std::string& file, std::uint64_t size) { file.replace(4, 4, le32_text(size)); }

const odd_file odd_files[]{
    {"size_of_riff_zero", [](auto& f) { set_riff_size(f, 0); }},
    {"size_of_riff_counts_its_header", [](auto& f) { set_riff_size(f, f.size()); }},
    {"size_of_riff_all_ones", [](auto& f) { set_riff_size(f, 0xFFFFFFFF); }},
    {"last_pad_byte_not_counted", [](auto& f) { f += chunk("cue ", "odd"), set_riff_size(f, f.size() - 9); }},
    {"last_pad_byte_missing", [](auto& f) { f += chunk("cue ", "odd"), f.pop_back(), set_riff_size(f, f.size() - 8); }},
    {"last_pad_byte_counted_and_missing",
     [](auto& f) { f += chunk("cue ", "odd"), set_riff_size(f, f.size() - 8), f.pop_back(); }},
    {"stub_behind_the_last_chunk", [](auto& f) { f += "stub", set_riff_size(f, f.size() - 8); }},
    {"zeros_behind_the_last_chunk", [](auto& f) { f += std::string(20, '\0'), set_riff_size(f, f.size() - 8); }},
    {"left_by_a_killed_edit", [](auto& f) { f += chunk("JUNK", "0123456789") + "id3 \x20"; }},
};

class riff_plan_odd : public testing::TestWithParam<odd_file> {};

TEST_P(riff_plan_odd, is_edited_as_safely) {
  for (const auto* const layout : {"f d10", "f d10 i30", "f d10 J20", "f i30 J10 d10 L26"}) {
    auto file = make_file(layout);
    GetParam().change(file);
    check_all_edits(to_bytes(file), layout);
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(files, riff_plan_odd, testing::ValuesIn(odd_files),
                         [](const auto& row) { return std::string(row.param.name); });

const odd_file refused_files[]{
    {"cut_in_the_audio", [](auto& f) { f.resize(f.size() - 4); }},
    {"audio_passes_the_end_of_riff", [](auto& f) { set_riff_size(f, f.size() - 10); }},
    {"audio_of_size_0", [](auto& f) { f.replace(f.size() - 14, 4, le32_text(0)); }},
    {"audio_of_unknown_size", [](auto& f) { f.replace(f.size() - 14, 4, le32_text(0xFFFFFFFF)); }},
    {"odd_position",
     [](auto& f) { f += "cue " + le32_text(1) + "x" + chunk("cue ", "12345678"), set_riff_size(f, f.size() - 8); }},
    {"other_container", [](auto& f) { f.replace(0, 4, "RF64"); }},
    {"cut_in_the_header", [](auto& f) { f.resize(11); }},
    {"endless_empty_chunks", [](auto& f) { f += std::string(65536 * 8, '\0'), set_riff_size(f, f.size() - 8); }},
};

class riff_layout_refused : public testing::TestWithParam<odd_file> {};

TEST_P(riff_layout_refused, by_exception_io_data) {
  auto file = make_file("f d10");
  GetParam().change(file);
  EXPECT_THROW(layout_of(to_bytes(file)), exception_io_data);
}

INSTANTIATE_TEST_SUITE_P(files, riff_layout_refused, testing::ValuesIn(refused_files),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The edge of 4 GiB ----------------------------------------------------------------------------------------------

/// A file that ends at `end`, all of it audio but for an ID3 chunk of `id3` bytes, header included, at its end.
riff_layout large_layout(std::uint64_t end, std::uint64_t id3) {
  riff_layout layout;
  const auto data_end = end - id3;
  layout.chunks.push_back({"fmt ", riff_role::other, 12, 16});
  layout.chunks.push_back({"data", riff_role::other, 36, data_end - 44});
  if (id3 != 0) layout.chunks.push_back({"id3 ", riff_role::id3, data_end, id3 - 8});
  layout.end = layout.tail = layout.file_size = end;
  layout.claimed_size = static_cast<std::uint32_t>(end - 8);
  return layout;
}

TEST(riff_plan_4_gib, a_file_that_its_size_field_can_not_tell_is_refused) {
  constexpr std::uint64_t most = 0xFFFFFFFE + std::uint64_t{8};
  const auto edit = make_edit(100, -1);
  EXPECT_NO_THROW(find_riff_destination(large_layout(most - 108, 0), edit));
  EXPECT_THROW(find_riff_destination(large_layout(most - 106, 0), edit), exception_io_data);
  // In the place of an old tag there is room for the new one, but none to stage it.
  const auto full = large_layout(most, 108);
  const auto to = find_riff_destination(full, edit);
  EXPECT_EQ(to.end, most);
  EXPECT_FALSE(can_plan_riff_edit(full, to));
  EXPECT_TRUE(
      can_plan_riff_edit(large_layout(most - 108, 108), find_riff_destination(large_layout(most - 108, 108), edit)));
}

} // namespace
} // namespace zelmora::test

// MPEG audio as hosts see it: what is claimed, streams that can't seek, tags and pictures.
#include "frame/album_art.h"
#include "frame/text.h"
#include "mpeg/input_mp3.h"
#include "mpeg_test_support.h"
#include "support/faulty_file.h"
#include "support/opened_input.h"

namespace zelmora::test {
namespace {

abort_callback_dummy no_abort;

TEST(Mp3Services, ClaimsPathsAndFirstBytes) {
  const auto claims = [](std::string_view path, std::string_view extension = "") {
    return input_mp3::g_is_our_path(path, extension);
  };
  EXPECT_TRUE(claims("a.Mp3", "Mp3"));
  EXPECT_TRUE(claims("a.mp1", "mp1"));
  EXPECT_FALSE(claims("a.mp4", "mp4"));
  EXPECT_TRUE(claims("http://host/stream"));
  EXPECT_TRUE(claims("http://host.example/listen?format=a.b/c.d"));
  EXPECT_TRUE(claims("http://host.example"));
  EXPECT_FALSE(claims("http://host/a.ogg", "ogg"));
  EXPECT_FALSE(claims("https://host/stream"));
  EXPECT_TRUE(input_mp3::g_is_our_content_type("audio/mpeg"));

  const auto is_ours = [](const bytes& head) { return input_mp3::g_is_our_file_header(head); };
  EXPECT_TRUE(is_ours(make_frames(header_64k, 2)));
  EXPECT_TRUE(is_ours(make_id3v2(bytes(100)) + make_frames(header_64k, 2)));
  EXPECT_FALSE(is_ours(make_id3v2(bytes(100)) + to_bytes("fLaC") + bytes(100)));
  EXPECT_FALSE(is_ours(make_frames(header_64k) + bytes(100)));
  EXPECT_FALSE(is_ours({}));
}

/// A radio station: no size, no way back, and titles that come with the music.
class radio_file : public zelmora_io::file_dynamicinfo {
 public:
  explicit radio_file(bytes content) : content_(service_new<memory_file>(std::move(content))) {}

  std::size_t read(void* buffer, std::size_t size, abort_callback& abort) override {
    largest_read = std::max(largest_read, size);
    return content_->read(buffer, size, abort);
  }
  void write(const void*, std::size_t, abort_callback&) override { throw zelmora_io::exception_io_denied(); }
  std::uint64_t get_size(abort_callback&) override { return unknown_size; }
  std::uint64_t get_position(abort_callback& abort) override { return content_->get_position(abort); }
  void resize(std::uint64_t, abort_callback&) override { throw zelmora_io::exception_io_denied(); }
  void seek(std::uint64_t, abort_callback&) override { throw zelmora_io::exception_io_object_not_seekable(); }
  bool can_seek() override { return false; }
  bool get_content_type(std::string& out) override { return out = "audio/mpeg", true; }
  void reopen(abort_callback& abort) override { content_->reopen(abort); }
  bool is_remote() override { return true; }
  bool get_dynamic_info(file_info& info, double&) override {
    if (title.empty()) return false;
    info.meta_set("title", std::exchange(title, {}));
    return true;
  }

  std::string title;
  std::size_t largest_read = 0;

 private:
  file_ptr content_;
};

TEST(Mp3Services, PlaysWhatCannotSeek) {
  const auto content = load_fixture("mpeg/cbr128.mp3");
  const auto radio = service_new<radio_file>(make_id3v2(bytes(20)) + content);
  opened_input stream(radio, "http://host/stream");
  EXPECT_EQ(stream.decoder->get_subsong_count(), 1u);
  EXPECT_LT(stream.info().get_length(), 0);
  EXPECT_EQ(info_text(stream.info(), "bitrate"), "128");
  EXPECT_EQ(info_text(stream.info(), "mp3_accurate_length"), "");
  const auto audio = stream.decode();
  // The frame with the header plays, as there is no looking at what follows it.
  opened_input whole(fixture_file("mpeg/cbr128.mp3"), "a.mp3");
  const auto expected = whole.decode();
  const std::size_t skipped = 1152 + 576;
  ASSERT_GE(audio.frames(), expected.frames() + skipped);
  EXPECT_TRUE(std::ranges::equal(audio.from(skipped).first(expected.samples.size()), expected.samples));
  EXPECT_LT(radio->largest_read, 32768u); // what is not needed would have to be waited for
  EXPECT_THROW(stream.decoder->seek(0.1, no_abort), zelmora_io::exception_io);

  file_info_impl told;
  double delta = 0;
  EXPECT_TRUE(stream.decoder->get_dynamic_info_track(told, delta));
  EXPECT_EQ(info_text(told, "content_type"), "audio/mpeg");
  EXPECT_FALSE(stream.decoder->get_dynamic_info_track(told, delta));
  radio->title = "Aria";
  EXPECT_TRUE(stream.decoder->get_dynamic_info_track(told, delta));
  EXPECT_EQ(*told.meta_get("title"), "Aria");

  EXPECT_THROW(input_entry::g_open_for_info_write(radio, "http://host/stream", nullptr, no_abort),
               exception_tagging_unsupported);
}

album_art_data_ptr picture(std::string_view content) { return make_album_art(to_bytes(content)); }

TEST(Mp3Services, PicturesComeAndGoAndTheMusicStays) {
  attach_own_services();
  const auto target = fixture_file("mpeg/cbr128.mp3");
  const auto editor = [] {
    service_ptr_t<album_art_editor> found;
    for_each_service<album_art_editor>([&](const auto& entry) {
      if (entry->get_guid() == input_mp3::g_get_guid() && entry->is_our_path("a.mp3", "mp3")) found = entry;
      return !found;
    });
    return found;
  }();
  ASSERT_TRUE(editor);
  const std::string png = "\x89PNG\r\n\x1a\n" + std::string(50, 'p');
  const std::string jpeg = "\xFF\xD8\xFF\xE0" + std::string(3000, 'j');
  {
    const auto open = editor->open(target, {}, no_abort);
    EXPECT_THROW(open->query(album_art_id::cover_front, no_abort), exception_album_art_not_found);
    open->set(album_art_id::cover_front, picture(png), no_abort);
    open->set(album_art_id::cover_back, picture(jpeg), no_abort);
    open->set(album_art_id::cover_front, picture(jpeg), no_abort);
    open->commit(no_abort);
  }
  {
    const auto open = editor->open(target, {}, no_abort);
    EXPECT_EQ(to_text(open->query(album_art_id::cover_front, no_abort)->bytes()), jpeg);
    open->remove(album_art_id::cover_front);
    open->commit(no_abort);
  }
  opened_input edited(target, "a.mp3");
  EXPECT_EQ(pcm_md5(edited.decode().samples),
            pcm_md5(opened_input(fixture_file("mpeg/cbr128.mp3"), "a.mp3").decode().samples));
  for_each_service<album_art_extractor>([&](const auto& entry) {
    if (!entry->is_our_path("a.mp3", "mp3")) return true;
    const auto open = entry->open(target, "a.mp3", no_abort);
    EXPECT_EQ(to_text(open->query(album_art_id::cover_back, no_abort)->bytes()), jpeg);
    EXPECT_THROW(open->query(album_art_id::cover_front, no_abort), exception_album_art_not_found);
    return false;
  });
}

} // namespace
} // namespace zelmora::test

#include "frame/call_stack.h"
#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "frame/input.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

class animal : public service_base {
 public:
  using interface_type = animal;
  using interface_parent = service_base;
  static constexpr guid class_guid = "00000000-0000-0000-0000-0000000000A1"_guid;
  virtual int legs() = 0;
};
class winged_animal : public animal {
 public:
  using interface_type = winged_animal;
  using interface_parent = animal;
  static constexpr guid class_guid = "00000000-0000-0000-0000-0000000000A2"_guid;
  virtual int wings() = 0;
};
class plant : public service_base {
 public:
  using interface_type = plant;
  using interface_parent = service_base;
  static constexpr guid class_guid = "00000000-0000-0000-0000-0000000000A3"_guid;
};
class stone : public service_base {
 public:
  using interface_type = stone;
  using interface_parent = service_base;
  static constexpr guid class_guid = "00000000-0000-0000-0000-0000000000A4"_guid;
};

class dog : public animal {
 public:
  int legs() override { return 4; }
};
class moss : public plant {};

int live_bees = 0;
class bee : public winged_animal {
 public:
  bee() { ++live_bees; }
  ~bee() { --live_bees; }
  int legs() override { return 6; }
  int wings() override { return 4; }
};

service_factory_single_t<dog> dog_factory;
service_factory_single_t<moss> first_moss;
service_factory_single_t<moss> second_moss;
service_factory_t<bee> bee_factory;

TEST(Service, QueryKnowsTheWholeBaseChain) {
  service_ptr_t<animal> insect = service_new<bee>();
  EXPECT_EQ(service_cast<winged_animal>(insect.get())->wings(), 4);
  EXPECT_EQ(service_cast<animal>(insect.get())->legs(), 6);
  EXPECT_TRUE(service_cast<service_base>(insect.get()));
  service_ptr_t<service_base> out(insect.get());
  EXPECT_FALSE(insect->service_query(out, plant::class_guid));
  EXPECT_EQ(out.get(), insect.get()) << "no match leaves the result alone";
  EXPECT_FALSE(service_cast<winged_animal>(&dog_factory.get()));
}

TEST(Service, PointersCount) {
  ASSERT_EQ(live_bees, 0);
  {
    service_ptr_t<bee> a = service_new<bee>();
    service_ptr_t<animal> b = a;
    EXPECT_EQ(a->service_add_ref(), 3);
    EXPECT_EQ(a->service_release(), 2);
    b = b.operator->() != nullptr ? b : nullptr;
    service_ptr_t<bee> moved = std::move(a);
    a = moved;
    a.release();
    moved = nullptr;
    EXPECT_EQ(live_bees, 1) << "b still owns it";
  }
  EXPECT_EQ(live_bees, 0);
  EXPECT_EQ(dog_factory.get().service_add_ref(), 1);
  EXPECT_EQ(dog_factory.get().service_release(), 1);
}

TEST(Service, LookUps) {
  test::attach_own_services();
  EXPECT_EQ(enumerate_services<plant>().size(), 2u);
  EXPECT_EQ(enumerate_services<plant>()[0].get(), &second_moss.get()) << "from the last registered to the first";
  EXPECT_EQ(service_single<animal>()->legs(), 4);
  EXPECT_NE(service_single<winged_animal>().get(), service_single<winged_animal>().get()) << "a fresh object each time";
  EXPECT_TRUE(enumerate_services<stone>().empty());
  const auto message_of = [](auto&& call) -> std::string {
    try {
      call();
      return "nothing";
    } catch (const std::exception& e) {
      return exception_class_name(e) + ": " + e.what();
    }
  };
  EXPECT_EQ(message_of([] { service_single<stone>(); }), "exception_service_not_found: Service not found");
  EXPECT_EQ(message_of([] { service_single<plant>(); }), "exception_service_duplicated: Service duplicated");
  EXPECT_EQ(message_of([] { service_extension<winged_animal>(&dog_factory.get()); }),
            "exception_service_extension_not_found: Service extension not found");
}

TEST(Exceptions, MessagesAndTree) {
  using namespace zelmora_io;
  EXPECT_STREQ(exception_io_data_truncation().what(), "Unsupported format or corrupted file");
  EXPECT_STREQ(exception_io_unsupported_format().what(), "Unsupported file format");
  EXPECT_STREQ(exception_io_data("damaged at 12").what(), "damaged at 12");
  EXPECT_STREQ(exception_io_win32(1234).what(), "I/O error (win32 1234)");
  EXPECT_EQ(exception_io_win32_ex(7, "why").code(), 7u);
  static_assert(std::is_base_of_v<exception_io_data, exception_tag_not_found>);
  static_assert(std::is_base_of_v<exception_io_data, exception_tagging_unsupported>);
  static_assert(std::is_base_of_v<exception_io_denied, exception_io_write_protected>);
  static_assert(std::is_base_of_v<exception_io_not_found, exception_album_art_not_found>);
  static_assert(!std::is_base_of_v<exception_io, exception_aborted>);
  static_assert(std::is_base_of_v<kiv::exception_bug_check, kiv::exception_not_implemented>);
}

struct code_case {
  std::uint32_t code;
  const char* expected;
};
class Win32Errors : public testing::TestWithParam<code_case> {};
TEST_P(Win32Errors, BecomeTheFamily) {
  try {
    raise_win32_io_error(GetParam().code);
  } catch (const zelmora_io::exception_io& e) {
    EXPECT_EQ(exception_class_name(e) + ": " + e.what(), GetParam().expected);
  }
}
INSTANTIATE_TEST_SUITE_P(Codes, Win32Errors,
                         testing::Values(code_case{2, "exception_io_not_found: Object not found"},
                                         code_case{3, "exception_io_not_found: Object not found"},
                                         code_case{4, "exception_io_win32: I/O error (win32 4)"},
                                         code_case{5, "exception_io_denied: Access denied"},
                                         code_case{17,
                                                   "exception_io: Source and destination must be on the same device"},
                                         code_case{112, "exception_io_device_full: Device full"},
                                         code_case{1392, "exception_io_file_corrupted: The file is corrupted"},
                                         code_case{1393, "exception_io_file_corrupted: The file is corrupted"},
                                         code_case{1394, "exception_io_win32: I/O error (win32 1394)"},
                                         code_case{1455, "exception_io: Insufficient system resources"},
                                         code_case{1456, "exception_io_win32: I/O error (win32 1456)"},
                                         code_case{0x80310000, "exception_io: Drive locked by BitLocker"}),
                         [](const auto& row) { return std::to_string(row.param.code); });

TEST(CallStack, PopsEvenWhenAnExceptionPasses) {
  try {
    const uCallStackTracker outer("outer");
    const uCallStackTracker inner("inner");
    EXPECT_EQ(uCallStackTracker::current().size(), 2u);
    throw zelmora_io::exception_io();
  } catch (const zelmora_io::exception_io&) {
    EXPECT_TRUE(uCallStackTracker::current().empty());
  }
}

} // namespace
} // namespace zelmora

// The values of dialogs as text and back, what is wrong with them, and a host that shows none.
#include "frame/dialog.h"

#include "frame/exceptions.h"
#include "support/fake_front_end.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

dialog_field field_of(field_kind kind) {
  dialog_field field{"option", "Label", kind};
  field.least = -5;
  field.most = 4095;
  field.choices = {{"first", "The first"}, {"Second", ""}, {"third", ""}};
  return field;
}

struct value_case {
  const char* name;
  field_kind kind;
  const char* text;
  const char* formatted; ///< what the value reads as; "!" and the refusal where there is none
};

class FieldValue : public testing::TestWithParam<value_case> {};

TEST_P(FieldValue, FromTextAndBack) {
  const auto& row = GetParam();
  auto field = field_of(row.kind);
  std::string result;
  try {
    field.value = parse_field_value(field, row.text);
    result = format_field_value(field);
    EXPECT_NO_THROW(check_field(field));
  } catch (const field_refusal& refusal) {
    result = std::string("!") + refusal.what();
  }
  EXPECT_EQ(result, row.formatted);
}

INSTANTIATE_TEST_SUITE_P(
    All, FieldValue,
    testing::Values(
        value_case{"Least", field_kind::number, "-5", "-5"}, value_case{"Most", field_kind::number, "4095", "4095"},
        value_case{"BelowLeast", field_kind::number, "-6", "!\"-6\" is not a number from -5 to 4095"},
        value_case{"AboveMost", field_kind::number, "4096", "!\"4096\" is not a number from -5 to 4095"},
        value_case{"PartlyNumber", field_kind::number, "12x", "!\"12x\" is not a number from -5 to 4095"},
        value_case{"NoNumber", field_kind::number, "", "!\"\" is not a number from -5 to 4095"},
        value_case{"Yes", field_kind::yes_no, "YES", "yes"}, value_case{"No", field_kind::yes_no, "n", "no"},
        value_case{"Perhaps", field_kind::yes_no, "1", "!\"1\" is neither yes nor no"},
        value_case{"Choice", field_kind::choice, "sEcond", "Second"},
        value_case{"NoChoice", field_kind::choice, "", "!\"\" is none of first, Second, third"},
        value_case{"ChoicesInOrder", field_kind::choices, "third, FIRST,third", "first,third"},
        value_case{"NoneChosen", field_kind::choices, "", ""},
        value_case{"OneIsUnknown", field_kind::choices, "first,fourth", "!\"fourth\" is none of first, Second, third"},
        value_case{"Text", field_kind::text, "a b", "a b"}, value_case{"EmptyText", field_kind::text, "", ""},
        value_case{"NoUtf8", field_kind::text, "\xFF", "!The text is no UTF-8"},
        value_case{"Lines", field_kind::lines, "a\nb\n", "2 lines"},
        value_case{"Line", field_kind::lines, "a", "1 line"}, value_case{"NoLines", field_kind::lines, "", "0 lines"},
        value_case{"File", field_kind::file, "\xFF.cue", "\xFF.cue"},
        value_case{"NoFile", field_kind::file, "", "!A file is needed"}),
    [](const auto& row) { return row.param.name; });

TEST(Dialog, UnsetIsAnAnswerWhereItMeansSomething) {
  auto field = field_of(field_kind::number);
  EXPECT_THROW(check_field(field), field_refusal);
  field.unset = "as it is";
  EXPECT_NO_THROW(check_field(field));
  EXPECT_EQ(format_field_value(field), "as it is");
}

TEST(Dialog, ChecksOfOneFieldThenOfAll) {
  dialog_model dialog{"Title", {}, {field_of(field_kind::number), field_of(field_kind::text)}};
  dialog.fields[0].check = [](const field_value& value) {
    if (std::get<std::int64_t>(value) % 2 != 0) throw field_refusal("odd");
  };
  dialog.fields[1].option = "other";
  dialog.check = [](const dialog_model& all) {
    if (*all.number("option") == 4 && *all.text("other") == "four") throw field_refusal("twice");
  };
  dialog.field("other").value = std::string("four");
  const auto refusal = [&](std::int64_t number) -> std::string {
    dialog.field("option").value = number;
    try {
      check_dialog(dialog);
    } catch (const field_refusal& wrong) {
      return wrong.what();
    }
    return "";
  };
  EXPECT_EQ(refusal(3), "odd");
  EXPECT_EQ(refusal(4), "twice");
  EXPECT_EQ(refusal(6), "");
  EXPECT_THROW(dialog.number("other"), kiv::exception_bug_check) << "another kind";
  EXPECT_THROW(dialog.number("missing"), kiv::exception_bug_check);
}

/// A host without any service.
class bare_host final : public zelmora_services {
  class nothing : public service_enumerator {
    bool next(service_ptr_t<service_base>&) override { return false; }
  };

 public:
  service_ptr_t<service_enumerator> enumerate(const guid&) override { return service_new<nothing>(); }
};

TEST(Dialog, OfAHostWithoutDialogsFailsInTheCommandsWords) {
  bare_host bare;
  set_services(&bare);
  dialog_model dialog{"Title", {}, {}};
  const auto failure = [&](std::string_view words) -> std::string {
    try {
      show_dialog(dialog, words);
    } catch (const std::exception& raised) {
      return raised.what();
    }
    return "";
  };
  EXPECT_EQ(failure("Could not initialize \"X\" dialog"), "Could not initialize \"X\" dialog");
  EXPECT_EQ(failure("Could not initialize \"X\" dialog ("), "Could not initialize \"X\" dialog (Service not found)");
  test::attach_own_services();
  test::reset_front_end();
  EXPECT_EQ(failure("unused"), "");
  EXPECT_EQ(test::front_end().dialogs.size(), 1u);
}

} // namespace
} // namespace zelmora

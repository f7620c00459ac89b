#include "frame/input_impl.h"

namespace zelmora {

void input_stubs::deliver_gathered_warnings() {
  if (!logger_) return;
  for (const auto& text : gathered_) logger_->log_entry(text, event_logger::warning);
  gathered_.clear();
}

} // namespace zelmora

#include "cli/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace zelmora::cli {

namespace {

constexpr std::initializer_list<int> interrupting_signals{SIGINT, SIGTERM, SIGHUP};

/// What the handler sets: made before the handlers are installed, so that the handler makes nothing.
abort_callback_impl* handled_abort = nullptr;

void on_interrupt(int) {
  handled_abort->set();
  for (const int number : interrupting_signals) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(number, &action, nullptr);
  }
}

sigset_t interrupting_set() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : interrupting_signals) sigaddset(&set, number);
  return set;
}

} // namespace

abort_callback_impl& program_abort() {
  static abort_callback_impl token;
  return token;
}

void install_interrupt_handlers() {
  handled_abort = &program_abort();
  for (const int number : interrupting_signals) {
    struct sigaction old {};
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = on_interrupt; // no SA_RESTART: a blocked call is to come back
    sigaction(number, &action, nullptr);
  }
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
}

interrupts_blocked::interrupts_blocked() {
  const auto set = interrupting_set();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

interrupts_blocked::~interrupts_blocked() {
  const auto set = interrupting_set();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace zelmora::cli

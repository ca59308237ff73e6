// SPDX-License-Identifier: MIT

#include "check/cli/Isolated.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "time/HostTime.h"

// The child writes its verdict to a pipe as JSON and ends at once, without destroying anything: how
// a component is deleted is the subject of promises of its own. The parent reads until the pipe is
// closed, or kills the child at the deadline.

namespace Check {
namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using Work = std::function<Verdict(int answers)>;

Json toJson(const Verdict& verdict) {
  Json findings = Json::array();
  for (const Finding& finding : verdict.findings) {
    findings.push_back({finding.expected, finding.happened, finding.when});
  }
  return {{"outcome", verdict.outcome},
          {"reason", verdict.reason},
          {"findings", findings},
          {"omitted", verdict.omitted}};
}

Verdict fromJson(const Json& json) {
  Verdict verdict{.outcome = json.at("outcome"),
                  .reason = json.at("reason"),
                  .findings = {},
                  .omitted = json.at("omitted"),
                  .seconds = 0};
  for (const Json& finding : json.at("findings")) {
    verdict.findings.push_back({finding.at(0), finding.at(1), finding.at(2)});
  }
  return verdict;
}

[[noreturn]] void answer(int to, const Verdict& verdict) {
  const std::string text = toJson(verdict).dump(-1, ' ', true, Json::error_handler_t::replace);
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t count = write(to, text.data() + sent, text.size() - sent);
    if (count < 0) {
      break;
    }
    sent += static_cast<std::size_t>(count);
  }
  _exit(0);
}

Verdict brokenBy(const std::string& reason) {
  return {.outcome = Outcome::Broken, .reason = reason, .findings = {}, .omitted = 0, .seconds = 0};
}

/// How a process ended that did not answer.
std::string endInWords(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    const char* name = sigabbrev_np(signal);
    return name != nullptr ? fmt::format("crashed: SIG{}", name)
                           : fmt::format("crashed: signal {}", signal);
  }
  return fmt::format("ended the process with status {}", WEXITSTATUS(status));
}

struct Answer {
  std::string text;
  bool inTime = true;
};

Answer readUntil(int from, Clock::time_point deadline) {
  Answer answer;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{.fd = from, .events = POLLIN, .revents = 0};
    const int ready = left.count() > 0 ? poll(&waiting, 1, static_cast<int>(left.count())) : 0;
    if (ready == 0) {
      answer.inTime = false;
      return answer;
    }
    std::array<char, 4096> part{};
    const ssize_t count = ready > 0 ? read(from, part.data(), part.size()) : -1;
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return answer;
    }
    answer.text.append(part.data(), static_cast<std::size_t>(count));
  }
}

/// Runs the work in a child and returns its verdict.
Verdict inChild(unsigned timeoutSeconds, const Work& work) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  const Clock::time_point begin = Clock::now();
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    close(ends[0]);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    answer(ends[1], work(ends[1]));
  }
  close(ends[1]);
  const Answer got = readUntil(ends[0], begin + std::chrono::seconds(timeoutSeconds));
  close(ends[0]);
  if (!got.inTime) {
    kill(child, SIGKILL);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  Verdict verdict;
  if (!got.inTime) {
    verdict = brokenBy(fmt::format("did not return within {} s", timeoutSeconds));
  } else {
    const Json json = Json::parse(got.text, nullptr, false);
    const bool answered = !json.is_discarded() && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    verdict = answered ? fromJson(json) : brokenBy(endInWords(status));
  }
  verdict.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return verdict;
}

/// A component that blocks outside of simulated time is reported with what every thread waits for.
void reportStalls(int answers, unsigned timeoutSeconds) {
  Tavro::HostTime::setStallPatience(timeoutSeconds * 1000 * 2 / 3);
  Tavro::HostTime::setStallHandler(
      [answers](const std::string& report) { answer(answers, brokenBy(report)); });
}

Verdict checkHere(const Promise& promise, const std::string& bundlePath) {
  Bench& bench = *new Bench(bundlePath);  // never destroyed: see above
  Verdict verdict{
      .outcome = Outcome::Kept, .reason = {}, .findings = {}, .omitted = 0, .seconds = 0};
  try {
    promise.check(bench);
  } catch (const Abandoned&) {
    verdict.outcome = Outcome::Broken;  // the last finding says why
  } catch (const NotChecked& inThisBuild) {
    verdict.outcome = Outcome::NotChecked;
    verdict.reason = inThisBuild.reason;
  } catch (const std::exception& error) {
    bench.expect(false, "no exception", error.what());
  }
  verdict.findings = bench.all();
  verdict.omitted = bench.omitted();
  if (!verdict.findings.empty()) {
    verdict.outcome = Outcome::Broken;
  }
  return verdict;
}

}  // namespace

Verdict checkIsolated(const Promise& promise, const std::string& bundlePath,
                      unsigned timeoutSeconds) {
  return inChild(timeoutSeconds, [&](int answers) {
    Tavro::HostTime::simulate();
    reportStalls(answers, timeoutSeconds);
    return checkHere(promise, bundlePath);
  });
}

std::string reasonNotToCheck(const std::string& bundlePath, unsigned timeoutSeconds) {
  const Verdict verdict = inChild(timeoutSeconds, [&](int answers) {
    Tavro::HostTime::simulate();
    reportStalls(answers, timeoutSeconds);
    try {
      static Tavro::Bundle bundle(bundlePath);  // neither is destroyed, as the child just ends
      static const auto component = bundle.makeComponent();
    } catch (const std::exception& error) {
      return brokenBy(error.what());
    }
    return Verdict{
        .outcome = Outcome::Kept, .reason = {}, .findings = {}, .omitted = 0, .seconds = 0};
  });
  return verdict.outcome == Outcome::Kept ? std::string() : verdict.reason;
}

}  // namespace Check

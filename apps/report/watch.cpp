#include "apps/report/watch.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

#include "apps/report/child_process.h"
#include "apps/report/engine_socket.h"
#include "apps/report/examine.h"
#include "apps/report/files.h"
#include "apps/report/look.h"
#include "apps/report/metrics.h"
#include "apps/report/new_file.h"
#include "apps/report/output.h"
#include "apps/report/rights.h"
#include "apps/report/round.h"
#include "apps/report/text.h"
#include "apps/report/watch_events.h"
#include "apps/report/watched_texts.h"
#include "egress_live/change_monitor.h"
#include "egress_live/take_snapshot.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;
using std::chrono::steady_clock;
using Lines = std::vector<std::string>;

// What was printed last.
struct Printed {
  std::optional<std::string> key;  // nothing: no answer so far
  std::string head;
  Lines notes;
  Lines errors;    // of the last round that could run
  Lines failures;  // of the rounds since then, which could not
};

struct Watch {
  const Options& options;
  int stopDescriptor;
  std::optional<live::ChangeMonitor> monitor = {};
  WatchedTexts texts = {};
  Printed printed = {};
};

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool contains(const Lines& lines, const std::string& line) {
  return std::ranges::find(lines, line) != lines.end();
}

// The network namespace of this thread; 0 if it cannot be told.
std::uint64_t network() {
  struct stat status {};
  return stat("/proc/thread-self/ns/net", &status) == 0 ? status.st_ino : 0;
}

void followChanges(Watch& watch) {
  watch.monitor.emplace();
  const std::string& reason = watch.monitor->failureReason();
  if (!reason.empty()) printError(reason);
}

// The snapshot of a host without the engine: its list of sockets has failed for this reason.
HostSnapshot withoutEngine(const char* reason) {
  HostSnapshot snapshot = takeLiveSnapshot(static_cast<std::uint32_t>(getpid()));
  snapshot.sockets = {};
  snapshot.sockets.enumFailed = true;
  snapshot.sockets.failureReason = reason;
  snapshot.processes.clear();
  snapshot.missingFacts.clear();  // of this process's own sockets
  return snapshot;
}

HostSnapshot takeAnySnapshot(const Options& options) {
  try {
    return takeLiveSnapshot(options.processes.value());
  } catch (const NoEngine& error) {  // it may come back
    return withoutEngine(error.what());
  }
}

// Follows the engine into another network namespace.
HostSnapshot takeRoundSnapshot(Watch& watch) {
  const std::uint64_t before = network();
  HostSnapshot snapshot = takeAnySnapshot(watch.options);
  if (network() == before) return snapshot;
  followChanges(watch);
  return takeAnySnapshot(watch.options);  // what changed before the monitor existed counts
}

void writeMetrics(const Options& options, const std::string& text) {
  NewFile file(metricsFile(options.metricsPath.value()));
  file.write(text);
  file.commit();
}

// The metrics for the parent to write if that is root, who may write into a folder of another user.
// Other users' rights are those of the child.
std::string metricsOrWrite(const Options& options, const Finding& finding) {
  if (!options.metricsPath) return {};
  std::string text = metricsText(&finding, metricTimes(options.metricsPath.value(), &finding));
  if (isCalledByRoot()) return text;
  writeMetrics(options, text);
  return {};
}

// What the child does: everything that parses what others wrote. It leaves nothing to destructors.
std::string examineWithoutRights(Watch& watch, const HostSnapshot& taken) {
  close(watch.stopDescriptor);
  if (watch.monitor->descriptor() >= 0) close(watch.monitor->descriptor());
  std::ostringstream errors;  // the parent prints those that are new
  std::cerr.rdbuf(errors.rdbuf());
  Round round;
  try {
    if (!isCalledByRoot()) dropRights();
    Lines changes = readChanges(watch.options, watch.texts);
    // Root may ask where only the engine's user can connect.
    const Closed engine(isCalledByRoot() ? connectToEngine(watch.options) : -1);
    if (isCalledByRoot()) dropRights();
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // after dropRights(), which may reset it
    round.texts = changes;
    const Opened opened{.engineSocket = engine.descriptor()};
    const Finding finding = examine(watch.options, taken, watch.texts.texts, opened);
    round = roundOf(watch.options, finding);
    round.texts = std::move(changes);
    if (watch.options.output != Output::TEXT) printNotes(watch.options, finding);
    round.metrics = metricsOrWrite(watch.options, finding);
  } catch (const std::bad_alloc&) {
    printError("not enough memory");
  } catch (const std::exception& error) {
    printError(error.what());
  }
  round.errors = errors.str();
  round.texts.resize(countOfTexts(watch.options));
  return packed(round);
}

Round failure(const std::string& message) {
  Round round;
  round.errors = errorLine(message);
  return round;
}

// Nothing if the program is to stop.
std::optional<Round> receiveRound(Watch& watch, ChildProcess& child) {
  constexpr std::uint64_t kMaxOutput = std::uint64_t{256} << 20U;  // as a snapshot
  const std::uint64_t limit = kMaxOutput + sizeLimitOfTexts(watch.options);
  std::string bytes;
  do {
    const Event event = waitForEvent(watch.stopDescriptor, child.descriptor(), Moment::max());
    if (event == Event::STOP) return std::nullopt;
  } while (child.receive(bytes) && bytes.size() <= limit);
  const std::string end = child.end();
  std::optional<Round> round = unpacked(bytes, countOfTexts(watch.options));
  if (!round) return failure("the process that diagnoses " + end + " without an answer");
  if (std::ranges::any_of(round->texts, [](const std::string& text) { return !text.empty(); })) {
    applyChanges(watch.options, round->texts, watch.texts);
  }
  return round;
}

// Any user may give any name to a process, so a name needs a look at what it found.
std::string processLines(const Options& options, const HostSnapshot& snapshot) {
  std::string lines;
  if (!std::holds_alternative<live::ProcessName>(options.processes.value())) return lines;
  for (const snapshot::Process& process : snapshot.processes)
    lines += errorLine(processText(process));
  return lines;
}

void printErrors(const Round& round, Printed& printed) {
  Lines lines = linesOf(round.errors);
  for (const std::string& line : lines) {
    if (!contains(printed.errors, line) && !contains(printed.failures, line))
      std::cerr << printable(line) + '\n';
  }
  const bool hasRun = round.outcome != Outcome::CANNOT_RUN;
  if (hasRun) printed.failures.clear();
  (hasRun ? printed.errors : printed.failures) = std::move(lines);
}

// What is new for people, in lines that begin with the time.
std::string newText(const Round& round, const std::string& time, Printed& printed) {
  std::string text;
  Lines notes = linesOf(round.notes);
  for (const std::string& note : notes) {
    if (!contains(printed.notes, note)) text.append(time).append(" ").append(note) += '\n';
  }
  printed.notes = std::move(notes);
  if (printed.key == round.key) return text;
  text.append(time).append(" ");
  if (printed.key && printed.head != round.head) text.append(printed.head).append(kArrow);
  return text.append(round.head).append(round.line) += '\n';
}

// Prints what changed. Returns false if the program is to stop.
bool print(Watch& watch, const Round& round, const std::string& time) {
  Printed& printed = watch.printed;
  printErrors(round, printed);
  if (round.outcome == Outcome::CANNOT_RUN) return true;
  std::string text;
  if (watch.options.output == Output::TEXT) {
    text = newText(round, time, printed);
  } else if (printed.key != round.key) {
    text = round.line + '\n';
  }
  printed.key = round.key;
  printed.head = round.head;
  return writeUnlessStopped(watch.stopDescriptor, text);
}

// A failure is an error of the round, so that it is said once.
void tryToWriteMetrics(const Options& options, Round& round) {
  try {
    writeMetrics(options, round.metrics);
  } catch (const CannotRun& error) {
    round.errors += errorLine(error.what());
  }
}

// Takes a snapshot, diagnoses it and prints what changed. Nothing if the program is to stop.
std::optional<Outcome> runRound(Watch& watch) {
  Round round;
  std::string time;
  try {
    const HostSnapshot taken = takeRoundSnapshot(watch);
    time = taken.origin.time;
    ChildProcess child([&] { return examineWithoutRights(watch, taken); });
    std::optional<Round> received = receiveRound(watch, child);
    if (!received) return std::nullopt;
    round = *std::move(received);
    round.errors = processLines(watch.options, taken) + round.errors;
    if (!round.metrics.empty()) tryToWriteMetrics(watch.options, round);
  } catch (const CannotRun& error) {
    round = failure(error.what());
  }
  if (!print(watch, round, time)) return std::nullopt;
  return round.outcome;
}

// Waits until the network has changed, or for the time between two rounds. Returns false if the
// program is to stop.
bool waitForNextRound(Watch& watch) {
  // One cause gives many changes, such as all routes of a link.
  constexpr auto kQuiet = std::chrono::milliseconds(100);
  constexpr auto kLongest = std::chrono::seconds(1);
  live::ChangeMonitor& monitor = watch.monitor.value();
  const auto wait = [&](Moment moment) {
    return waitForEvent(watch.stopDescriptor, monitor.descriptor(), moment);
  };
  const Moment next =
      steady_clock::now() + std::chrono::seconds(watch.options.watchSeconds.value());
  Event event = wait(next);
  while (event == Event::READY && !monitor.takeChanges()) event = wait(next);
  if (event != Event::READY) return event == Event::TIME;
  const Moment latest = steady_clock::now() + kLongest;
  while (event == Event::READY && steady_clock::now() < latest) {
    event = wait(std::min(steady_clock::now() + kQuiet, latest));
    static_cast<void>(monitor.takeChanges());
  }
  return event != Event::STOP;
}

}  // namespace

int watch(const Options& options) {
  const Closed stop(blockStopSignals());
  Watch watch{options, stop.descriptor()};
  followChanges(watch);
  Outcome last = Outcome::NOT_NAMED;  // nothing is known yet
  bool isFirst = true;
  do {
    const std::optional<Outcome> outcome = runRound(watch);
    if (!outcome) break;
    last = *outcome;
    if (isFirst && last == Outcome::CANNOT_RUN) break;
    isFirst = false;
  } while (waitForNextRound(watch));
  return static_cast<int>(last);
}

}  // namespace egress::report

// SPDX-License-Identifier: MIT

#include "check/cli/Report.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <numeric>
#include <sstream>

namespace Check {
namespace {

using Ordered = nlohmann::ordered_json;
using Tree = boost::property_tree::ptree;

const char* word(Outcome outcome) {
  switch (outcome) {
    case Outcome::Kept:
      return "kept";
    case Outcome::NotChecked:
      return "not checked";
    default:
      return "BROKEN";
  }
}

std::size_t widest(const std::vector<Promise>& promises) {
  std::size_t width = 0;
  for (const Promise& promise : promises) {
    width = std::max(width, promise.id.size());
  }
  return width;
}

/// The lines of the text but the first are indented.
std::string indented(const std::string& text, const std::string& indent) {
  std::string result;
  for (const char letter : text.substr(0, text.find_last_not_of('\n') + 1)) {
    result += letter;
    if (letter == '\n') {
      result += indent;
    }
  }
  return result;
}

std::string findingsOf(const Verdict& verdict, const std::string& indent) {
  std::string text;
  const auto add = [&](const char* name, const std::string& value) {
    text +=
        fmt::format("{}{:<10}{}\n", indent, name, indented(value, indent + std::string(10, ' ')));
  };
  if (!verdict.reason.empty()) {
    add(verdict.outcome == Outcome::NotChecked ? "reason:" : "happened:", verdict.reason);
  }
  for (const Finding& finding : verdict.findings) {
    add("expected:", finding.expected);
    add("happened:", finding.happened);
    add("when:", finding.when);
  }
  if (verdict.omitted != 0) {
    add("", fmt::format("and {} more", verdict.omitted));
  }
  return text;
}

/// The run in parts, one for each subject, in the order of the promises.
std::vector<std::pair<std::string, Run>> bySubject(const Run& run) {
  std::vector<std::pair<std::string, Run>> parts;
  for (const auto& result : run.results) {
    const std::string& subject = result.first.subject;
    if (parts.empty() || parts.back().first != subject) {
      parts.emplace_back(subject, Run{.bundlePath = run.bundlePath, .results = {}});
    }
    parts.back().second.results.push_back(result);
  }
  return parts;
}

Tree junitTotals(const std::string& name, const Run& run) {
  Tree suite;
  suite.put("<xmlattr>.name", name);
  suite.put("<xmlattr>.tests", run.results.size());
  suite.put("<xmlattr>.failures", run.count(Outcome::Broken));
  suite.put("<xmlattr>.skipped", run.count(Outcome::NotChecked));
  suite.put("<xmlattr>.time", fmt::format("{:.3f}", run.seconds()));
  return suite;
}

Tree junitCase(const std::string& id, const Promise& promise, const Verdict& verdict) {
  Tree test;
  test.put("<xmlattr>.classname", id);
  test.put("<xmlattr>.name", promise.id);
  test.put("<xmlattr>.time", fmt::format("{:.3f}", verdict.seconds));
  if (verdict.outcome == Outcome::NotChecked) {
    test.put("skipped.<xmlattr>.message", verdict.reason);
  } else if (verdict.outcome == Outcome::Broken) {
    Tree failure;
    failure.put("<xmlattr>.message", promise.statement);
    failure.put_value(findingsOf(verdict, ""));
    test.add_child("failure", failure);
  }
  return test;
}

}  // namespace

std::size_t Run::count(Outcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      results, [outcome](const auto& result) { return result.second.outcome == outcome; }));
}

double Run::seconds() const {
  return std::accumulate(results.begin(), results.end(), 0.0, [](double sum, const auto& result) {
    return sum + result.second.seconds;
  });
}

std::string lineOf(const Promise& promise, const Verdict& verdict) {
  static const std::size_t width = widest(allPromises());
  return fmt::format("  {:<12} {:<{}}  {}\n", word(verdict.outcome), promise.id, width,
                     promise.statement) +
         findingsOf(verdict, std::string(15, ' '));
}

std::string summaryOf(const Run& run) {
  std::string text = fmt::format("{}: {} of {} promises kept", run.bundlePath,
                                 run.count(Outcome::Kept), run.results.size());
  if (const std::size_t broken = run.count(Outcome::Broken)) {
    text += fmt::format(", {} broken", broken);
  }
  if (const std::size_t unchecked = run.count(Outcome::NotChecked)) {
    text += fmt::format(", {} not checked", unchecked);
  }
  text += fmt::format(", in {:.1f} s\n", run.seconds());
  std::string broken;
  for (const auto& [promise, verdict] : run.results) {
    if (verdict.outcome == Outcome::Broken) {
      broken += (broken.empty() ? "broken: " : ", ") + promise.id;
    }
  }
  return broken.empty() ? text : text + broken + "\n";
}

std::string jsonOf(const Run& run) {
  Ordered promises = Ordered::array();
  for (const auto& [promise, verdict] : run.results) {
    Ordered findings = Ordered::array();
    for (const Finding& finding : verdict.findings) {
      findings.push_back(
          {{"expected", finding.expected}, {"happened", finding.happened}, {"when", finding.when}});
    }
    Ordered entry = {
        {"id", promise.id},
        {"subject", promise.subject},
        {"statement", promise.statement},
        {"verdict", verdict.outcome == Outcome::Broken ? "broken" : word(verdict.outcome)},
        {"seconds", verdict.seconds},
        {"findings", findings},
        {"findings_omitted", verdict.omitted}};
    if (!verdict.reason.empty()) {
      entry["reason"] = verdict.reason;
    }
    promises.push_back(std::move(entry));
  }
  const Ordered run_json = {{"bundle", run.bundlePath},
                            {"kept", run.count(Outcome::Kept)},
                            {"broken", run.count(Outcome::Broken)},
                            {"not_checked", run.count(Outcome::NotChecked)},
                            {"seconds", run.seconds()},
                            {"promises", promises}};
  return run_json.dump(2, ' ', false, Ordered::error_handler_t::replace) + "\n";
}

std::string junitOf(const Run& run) {
  Tree suites = junitTotals(run.bundlePath, run);
  for (const auto& [subject, part] : bySubject(run)) {
    Tree suite = junitTotals(subject, part);
    for (const auto& [promise, verdict] : part.results) {
      suite.add_child("testcase", junitCase(subject, promise, verdict));
    }
    suites.add_child("testsuite", suite);
  }
  Tree document;
  document.add_child("testsuites", suites);
  std::ostringstream text;
  boost::property_tree::write_xml(text, document,
                                  boost::property_tree::xml_writer_settings<std::string>(' ', 2));
  return text.str();
}

std::string listOf(const std::vector<Promise>& promises) {
  std::string text;
  std::string subject;
  for (const Promise& promise : promises) {
    if (promise.subject != subject) {
      subject = promise.subject;
      text += fmt::format("{}{}\n", text.empty() ? "" : "\n", subject);
    }
    text += fmt::format("  {:<{}}  {}\n", promise.id, widest(promises), promise.statement);
  }
  return text;
}

}  // namespace Check

#include "apps/report/described_options.h"

#include "egress/version.h"

namespace egress::report {
namespace {

constexpr const char* kDescription =
    "Says through which network interface the local proxy engine's traffic to its active endpoint\n"
    "leaves this host, or why that cannot be told. In place of a FILE, '-' is standard input or\n"
    "output.";

constexpr const char* kFooter = R"(
Example:
  egress-report --config config.json --ask 'http://127.0.0.1:9090/proxies/{tag}' --resolve system

Run it as root, or as the engine's user if the engine has no capabilities.

Exit status:
  0  an interface is named, and nothing contradicts it
  1  no interface can be named, or the system contradicts the one that the report names
  2  error: an invalid option, an unreadable or unwritable file, no such process
  3  the sockets or the interfaces could not be listed, for example for lack of permission)";

CLI::Option* addRepeatable(CLI::App& app, const char* name, std::vector<std::string>& values,
                           const char* description) {
  return app.add_option(name, values, description)
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
}

void addEngineOptions(CLI::App& app, Options& options, RawOptions& raw) {
  app.add_option("--config", options.configPath,
                 "The engine's configuration. Comments and trailing commas are ignored")
      ->type_name("FILE");
  app.add_flag("--strict", options.isStrict, "Accept only JSON as a configuration");
  app.add_option("--main", raw.mainTag,
                 "The engine's main outbound, where the traffic enters; default 'proxy'")
      ->type_name("TAG");
  addRepeatable(app, "--answer", raw.answers,
                R"(The engine's answer for selector TAG, for example {"now":"CHOICE"}; repeatable)")
      ->type_name("TAG=FILE");
  app.add_option("--answers", options.answersPath,
                 R"(Several answers, for example {"TAG":{"now":"CHOICE"}})")
      ->type_name("FILE");
  addRepeatable(app, "--answer-failed", raw.failedAnswers,
                "Selector TAG was queried, but the engine did not answer; repeatable")
      ->type_name("TAG");
  app.add_option("--hint", options.hint, "Last known choice of the selector")->type_name("TAG");
}

void addAskOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const ask =
      app.add_option(
             "--ask", raw.askUrl,
             "Ask the engine over HTTP which outbound a selector uses: '{tag}' in the URL\n"
             "stands for the selector's tag. Without --pid and --process, the process that\n"
             "listens there is the engine")
          ->type_name("URL");
  addRepeatable(app, "--ask-header", raw.askHeaders,
                "Header for --ask; repeatable. Others see it in the list of processes")
      ->type_name("'NAME: VALUE'")
      ->needs(ask);
  app.add_option("--ask-header-file", options.askHeaderPath,
                 "Headers for --ask, one a line, for credentials")
      ->type_name("FILE")
      ->needs(ask);
  app.add_option("--ask-unix", raw.askUnix, "Unix socket in place of the URL's host and port")
      ->type_name("PATH")
      ->needs(ask);
  app.add_option("--ask-ca", options.askCaPath,
                 "Certificates (PEM) to check the engine's with, in place of the system's")
      ->type_name("FILE")
      ->needs(ask);
  app.add_option("--ask-timeout", raw.askTimeout, "Time limit of one query; default 2")
      ->type_name("SECONDS")
      ->needs(ask);
  app.add_flag("--ask-anywhere", raw.asksAnywhere, "Also ask at other than loopback addresses")
      ->needs(ask);
}

void addProcessOptions(CLI::App& app, RawOptions& raw) {
  auto* const pid = app.add_option("--pid", raw.process, "The engine's process ID")->type_name("N");
  auto* const name =
      app.add_option(
             "--process", raw.processName,
             "The engine's process name, as in /proc/PID/comm; may match several processes.\n"
             "A name longer than 15 bytes must also match the executable's file name")
          ->type_name("NAME")
          ->excludes(pid);
  app.add_option("--user", raw.user,
                 "The user, a name or a number, who started the processes of --process: any user\n"
                 "may give any name to a process")
      ->type_name("USER")
      ->needs(name);
}

void addSnapshotOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const snapshot =
      addRepeatable(
          app, "--snapshot", raw.snapshots,
          "Diagnose a saved snapshot instead of this machine; --config, --main, --answer,\n"
          "--resolve and --hint override what it contains. Repeatable; a folder stands for\n"
          "all files in it and below whose names end in '.json'. Of many snapshots, prints\n"
          "the details as JSON, one a line")
          ->type_name("FILE")
          ->excludes(app.get_option("--pid"))
          ->excludes(app.get_option("--process"))
          ->excludes(app.get_option("--ask"));
  app.add_option("--snapshots-from", options.snapshotListPath,
                 "Diagnose the snapshots whose paths are in a file, one a line")
      ->type_name("FILE")
      ->excludes(snapshot)
      ->excludes(app.get_option("--pid"))
      ->excludes(app.get_option("--process"))
      ->excludes(app.get_option("--ask"));
}

void addFileOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const save = app.add_option("--save-snapshot", options.saveSnapshotPath,
                                    "Also write the complete input of the diagnosis to a file;\n"
                                    "'-' writes it instead of the report")
                         ->type_name("FILE");
  app.add_flag(
         "--anonymize", options.anonymize,
         "Replace addresses, names, tags and interface indexes in the saved file; the report\n"
         "stays the same")
      ->needs(save);
  auto* const html =
      app.add_option(
             "--html", options.htmlPath,
             "Also write a page that shows the diagnosis in a browser, to send. Addresses,\n"
             "names, tags and interface indexes in it are replaced; '-' writes it instead of the\n"
             "report")
          ->type_name("FILE");
  app.add_flag("--not-anonymized", options.pageHasPrivateData,
               "Replace nothing in the page of --html")
      ->needs(html);
  app.add_option("--prometheus", options.metricsPath,
                 "Also write metrics to a file, for the textfile collector of Prometheus' node\n"
                 "exporter")
      ->type_name("FILE")
      ->excludes(app.get_option("--snapshot"))
      ->excludes(app.get_option("--snapshots-from"));
  app.add_option("--max-file-size", raw.maxFileSize,
                 "Read files of up to SIZE, for example 64MiB, in place of 16MiB for --config,\n"
                 "1MiB for --answer and 256MiB for --snapshot")
      ->type_name("SIZE");
}

void addLookOptions(CLI::App& app, RawOptions& raw) {
  auto* const snapshot = app.get_option("--snapshot");
  app.add_option("--observe", raw.observe,
                 "Watch the packets to the endpoint for this time. What is seen counts more than\n"
                 "what the system says. Needs root or CAP_NET_RAW")
      ->type_name("SECONDS")
      ->excludes(snapshot)
      ->excludes(app.get_option("--snapshots-from"));
  app.add_flag("--udp", raw.udp, "Count UDP sockets to the endpoint, too")
      ->excludes(app.get_option("--html"));  // the page counts TCP sockets only
  addRepeatable(
      app, "--resolve", raw.resolve,
      "ADDRESS stands for the server NAME; repeatable. 'system' asks the system's resolver")
      ->type_name("NAME=ADDRESS");
}

void addOutputOptions(CLI::App& app, RawOptions& raw) {
  auto* const json = app.add_flag("--json{report}", raw.json,
                                  "Print the report as JSON, without names and addresses;\n"
                                  "--json=details prints everything that was found out as JSON")
                         ->type_name("details");
  auto* const explain =
      app.add_flag("--explain", raw.explain, "Also explain every word of the report")
          ->excludes(json);
  app.add_flag(
         "--watch{5}", raw.watch,
         "Look again when links, addresses, routes or routing rules change, and every SECONDS,\n"
         "5 by default; print a line when the answer changes")
      ->type_name("SECONDS")
      ->excludes(app.get_option("--snapshot"))
      ->excludes(app.get_option("--save-snapshot"))
      ->excludes(app.get_option("--html"))
      ->excludes(app.get_option("--observe"))
      ->excludes(explain);
}

// CLI11 shows "--json{report}", its notation for a flag that may have a value, whose type it leaves
// out.
struct HelpFormatter : CLI::Formatter {
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    const bool isFlag = option->get_items_expected_max() == 0;
    const std::string value = isFlag ? option->get_type_name() : "";
    if (!value.empty()) return "--" + option->get_lnames().front() + "[=" + value + "]";
    return CLI::Formatter::make_option_name(option, isPositional);
  }

  // Without the options that it needs and excludes, which a message names if they matter.
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_items_expected_max() == 0 ? "" : option->get_type_name();
    return type.empty() ? "" : " " + type;
  }
};

}  // namespace

void describeOptions(CLI::App& app, Options& options, RawOptions& raw) {
  app.description(kDescription);
  app.name("egress-report");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Print this help");
  app.set_version_flag("--version", "egress-report " + std::string(kVersion), "Print the version");
  app.footer(kFooter);
  addEngineOptions(app, options, raw);
  addAskOptions(app, options, raw);
  addProcessOptions(app, raw);
  addSnapshotOptions(app, options, raw);
  addFileOptions(app, options, raw);
  addLookOptions(app, raw);
  addOutputOptions(app, raw);
}

std::shared_ptr<const CLI::App> describedOptions() {
  struct Described {
    Options options;
    RawOptions raw;
    CLI::App app;
  };
  const auto described = std::make_shared<Described>();
  describeOptions(described->app, described->options, described->raw);
  return {described, &described->app};
}

std::vector<std::string> wordsOf(const CLI::Option& option) {
  std::vector<std::string> words;
  if (!option.check_name(std::string(kJsonOption))) return words;
  for (const auto& [word, output] : kJsonWords) words.emplace_back(word);
  return words;
}

}  // namespace egress::report

// What the scripts print and how they exit when they are used wrongly or something is missing.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

ProgramResult runScript(const std::string& command) {
  return runProgram("'" EGRESS_SOURCE_DIR "'/scripts/" + command);
}

TEST(Scripts, HelpNamesTheExitStatuses) {
  for (const std::string name :
       {"bench", "bootstrap", "coverage", "fuzz", "lint", "portability", "test", "wasm"}) {
    const ProgramResult result = runScript(name + " --help");
    EXPECT_THAT(result.output, HasSubstr("\nExit status: 0 ")) << name;
    EXPECT_EQ(result.error, "") << name;
    EXPECT_EQ(result.status, 0) << name;
  }
}

TEST(Scripts, RefuseUnknownArguments) {
  struct Row {
    std::string script, arguments, error;
  };
  const std::vector<Row> rows = {
      {"bench", "--chekc", "bench: unknown option '--chekc'"},
      {"bench", "--check --quick", "bench: one option at a time"},
      {"bootstrap", "tset", "bootstrap: unknown purpose 'tset'"},
      {"bootstrap", "test lint", "bootstrap: one purpose at a time"},
      {"coverage", "--requierd", "coverage: unknown argument '--requierd'"},
      {"lint", "--source", "lint: unknown argument '--source'"},
      {"fuzz", "1 no_such_target", "fuzz: unknown target 'no_such_target'"},
      {"portability", "gcc s390", "portability: unknown platform 's390'"},
      {"wasm", "--pack", "wasm: unknown argument '--pack'"},
  };
  for (const Row& row : rows) {
    const ProgramResult result = runScript(row.script + " " + row.arguments);
    EXPECT_EQ(result.output, "") << row.error;
    EXPECT_THAT(result.error, StartsWith(row.error));
    EXPECT_EQ(result.status, 2) << row.error;
  }
}

TEST(Scripts, BuildRefusesAnUnknownPreset) {
  const ProgramResult result = runScript("build no-such-preset");
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.error, HasSubstr("no-such-preset"));
  EXPECT_NE(result.status, 0);
}

// scripts/bootstrap with a PATH that holds the shell and what a test adds.
class Bootstrap : public testing::Test {
 protected:
  Bootstrap() {
    fs::remove_all(bin);
    fs::create_directories(bin);
    for (const std::string tool : {"bash", "cat", "env", "ln", "true"}) {
      const bool inBin = fs::exists("/bin/" + tool);
      fs::create_symlink((inBin ? "/bin/" : "/usr/bin/") + tool, bin / tool);
    }
  }

  void addTool(const std::string& name, const std::string& lines = "") const {
    std::ofstream(bin / name) << "#!/bin/sh\n" << lines << "\n";
    fs::permissions(bin / name, fs::perms::owner_all);
  }

  // An apt-get that records its arguments and "installs" the three tools of a build.
  void addAptGet() const {
    addTool("apt-get", "cd '" + bin.string() + R"('; echo "$*" >>asked
        [ "$1" = update ] || for tool in c++ cmake ninja; do ln -s true $tool; done)");
  }

  [[nodiscard]] ProgramResult bootstrap(const std::string& arguments = "",
                                        const std::string& environment = "") const {
    return runProgram("env -i PATH='" + bin.string() + "' " + environment +
                      " bash '" EGRESS_SOURCE_DIR "/scripts/bootstrap' " + arguments);
  }

  // The arguments of each call of apt-get, one line a call.
  [[nodiscard]] std::string askedOfAptGet() const {
    std::ifstream file(bin / "asked");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const fs::path bin =
      fs::path(EGRESS_TEST_OUTPUT_DIR) /
      (std::string("bootstrap_") + testing::UnitTest::GetInstance()->current_test_info()->name());
  const std::string missingTools =
      "bootstrap: missing: c++ cmake ninja\n"
      "bootstrap: on Debian 12, install what is missing with\n"
      "  apt-get install g++ cmake ninja-build\n";
  const std::string installCalls =
      "update -qq\n"
      "install --no-remove -y -qq --no-install-recommends g++ cmake ninja-build\n";
};

TEST_F(Bootstrap, InstallsAsRoot) {
  addTool("id", "echo 0");
  addAptGet();
  const ProgramResult result = bootstrap();
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.error, "bootstrap: installing g++ cmake ninja-build\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(askedOfAptGet(), installCalls);
}

TEST_F(Bootstrap, InstallsWithASudoThatAsksForNoPassword) {
  addTool("id", "echo 1000");
  addTool("sudo", R"([ "$1" = -n ] && shift && exec "$@")");
  addAptGet();
  EXPECT_EQ(bootstrap().status, 0);
  EXPECT_EQ(askedOfAptGet(), installCalls);
}

TEST_F(Bootstrap, SaysWhatIsStillMissingAfterTheInstallation) {
  addTool("id", "echo 0");
  addTool("apt-get");
  const ProgramResult result = bootstrap();
  EXPECT_EQ(result.error, "bootstrap: installing g++ cmake ninja-build\n" + missingTools);
  EXPECT_EQ(result.status, 3);
}

TEST_F(Bootstrap, OnlySaysWhatToInstallWhereItMayNotInstall) {
  const auto expectAdviceOnly = [&](const std::string& arguments, const std::string& situation) {
    const ProgramResult result = bootstrap(arguments);
    EXPECT_EQ(result.output, "") << situation;
    EXPECT_EQ(result.error, missingTools) << situation;
    EXPECT_EQ(result.status, 3) << situation;
    EXPECT_EQ(askedOfAptGet(), "") << situation;
  };
  addTool("id", "echo 0");
  expectAdviceOnly("", "no apt-get");
  addAptGet();
  expectAdviceOnly("--check build", "--check");
  addTool("id", "echo 1000");
  expectAdviceOnly("build", "no sudo");
  addTool("sudo", "echo 'a password is required' >&2; exit 1");
  expectAdviceOnly("", "sudo asks for a password");
}

TEST_F(Bootstrap, IsSilentWhenNothingIsMissing) {
  for (const std::string tool : {"cmake", "ninja", "my-c++"}) addTool(tool);
  const ProgramResult result = bootstrap("build", "CXX='my-c++ -flag'");
  EXPECT_EQ(result.output + result.error, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(bootstrap("--check").error, HasSubstr("bootstrap: missing: c++\n"));
}

TEST_F(Bootstrap, LooksForLibrariesOnlyWhereDpkgIs) {
  for (const std::string tool : {"c++", "cmake", "ninja", "pkg-config", "python3"}) addTool(tool);
  addTool("clang++", "echo '" + bin.string() + "/resources'");
  EXPECT_EQ(bootstrap("--check clang").status, 0);

  addTool("dpkg");
  EXPECT_THAT(bootstrap("--check clang").error, HasSubstr(" libclang-rt-dev\n"));
  fs::create_directories(bin / "resources/lib/linux");
  std::ofstream(bin / "resources/lib/linux/libclang_rt.asan-x86_64.a") << "";
  EXPECT_THAT(bootstrap("--check clang").error, Not(HasSubstr("libclang-rt-dev")));
}

}  // namespace
}  // namespace egress::test

// The scripts' promises to people: what they say and how they end when something is not as it
// should be. Missing tools are played by a folder of links that is all the script can find.

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::string script(const std::string& name) {
  return "'" EGRESS_SOURCE_DIR "/scripts/" + name + "'";
}

TEST(Bootstrap, RefusesAnUnknownPurpose) {
  const ProgramResult result = runProgram(script("bootstrap") + " tset");
  EXPECT_EQ(result.error, "bootstrap: unknown purpose 'tset'; see scripts/bootstrap --help\n");
  EXPECT_EQ(result.status, 2);
}

TEST(Bootstrap, RefusesTwoPurposes) {
  EXPECT_EQ(runProgram(script("bootstrap") + " test lint").status, 2);
}

TEST(Bootstrap, RefusesAnUnknownPlatform) {
  EXPECT_EQ(runProgram(script("bootstrap") + " --check portability-s390").status, 2);
}

TEST(Bootstrap, HelpNamesPurposesAndExitStatuses) {
  const ProgramResult result = runProgram(script("bootstrap") + " --help");
  EXPECT_THAT(result.output, HasSubstr("Exit status: 0"));
  EXPECT_EQ(result.status, 0);
}

// A machine with a base system and nothing else.
class BareMachine : public testing::Test {
 protected:
  BareMachine() {
    fs::remove_all(bin);
    fs::create_directories(bin);
    for (const std::string tool : {"bash", "cat", "env", "grep", "head", "sort", "true"}) {
      const bool inBin = fs::exists("/bin/" + tool);
      fs::create_symlink((inBin ? "/bin/" : "/usr/bin/") + tool, bin / tool);
    }
  }

  // Adds a tool that runs these lines of shell.
  void addTool(const std::string& name, const std::string& lines) const {
    std::ofstream(bin / name) << "#!/bin/bash\n" << lines << "\n";
    fs::permissions(bin / name, fs::perms::owner_all);
  }

  [[nodiscard]] ProgramResult bootstrap(const std::string& arguments = "build") const {
    return runProgram("env -i PATH='" + bin.string() + "' bash " + script("bootstrap") + " " +
                      arguments);
  }

  // What the played apt-get was asked to do.
  [[nodiscard]] std::string installed() const {
    std::ifstream file(bin / "asked");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  void addAptGet() const { addTool("apt-get", "echo \"$*\" >>'" + (bin / "asked").string() + "'"); }

  const fs::path bin = fs::path(EGRESS_TEST_OUTPUT_DIR) /
                       (std::string("bare_machine_") +
                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(BareMachine, WithoutAPackageManagerIsToldWhatToInstall) {
  addTool("id", "echo 0");
  const ProgramResult result = bootstrap();
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.error, HasSubstr("a C++20 compiler: g++ 12 or newer, or clang 14 or newer; "
                                      "cmake 3.25 or newer; ninja 1.8 or newer"));
  EXPECT_THAT(result.error, HasSubstr("apt-get install cmake g++ ninja-build\n"));
  EXPECT_EQ(result.status, 3);
}

TEST_F(BareMachine, AsAnOrdinaryUserIsToldWhatToInstall) {
  addTool("id", "echo 1000");
  addAptGet();
  const ProgramResult result = bootstrap();
  EXPECT_THAT(result.error, HasSubstr("apt-get install cmake g++ ninja-build\n"));
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(installed(), "");
}

TEST_F(BareMachine, WhereSudoAsksAQuestionIsToldWhatToInstall) {
  addTool("id", "echo 1000");
  addTool("sudo", "exit 1");
  addAptGet();
  EXPECT_EQ(bootstrap().status, 3);
  EXPECT_EQ(installed(), "");
}

TEST_F(BareMachine, AsRootInstallsByNameAndSaysSo) {
  addTool("id", "echo 0");
  addAptGet();
  const ProgramResult result = bootstrap();
  EXPECT_THAT(result.error, HasSubstr("; installing: cmake g++ ninja-build\n"));
  EXPECT_THAT(installed(), HasSubstr("install -y -qq --no-install-recommends cmake g++ "
                                     "ninja-build\n"));
  EXPECT_EQ(result.status, 3) << "this apt-get installs nothing, so it is all still missing";
}

TEST_F(BareMachine, WithAQuietSudoInstallsThroughIt) {
  addTool("id", "echo 1000");
  addTool("sudo", "shift; exec \"$@\"");
  addAptGet();
  EXPECT_EQ(bootstrap().status, 3);
  EXPECT_THAT(installed(), HasSubstr("cmake g++ ninja-build\n"));
}

TEST_F(BareMachine, WithTheThreeToolsIsReadyAndSilent) {
  addTool("c++", "[ $1 = -dumpversion ] && echo 12 || echo 'c++ (Debian) 12.2.0'");
  addTool("cmake", "echo 'cmake version 3.25.1'");
  addTool("ninja", "echo 1.11.1");
  const ProgramResult result = bootstrap();
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(BareMachine, AToolThatIsTooOldCountsAsMissing) {
  addTool("id", "echo 1000");
  addTool("c++", "[ $1 = -dumpversion ] && echo 12 || echo 'c++ (Debian) 12.2.0'");
  addTool("cmake", "echo 'cmake version 3.9.6'");
  addTool("ninja", "echo 1.11.1");
  const ProgramResult result = bootstrap();
  EXPECT_THAT(result.error, HasSubstr("missing: cmake 3.25 or newer\n"));
  EXPECT_EQ(result.status, 3);
}

TEST_F(BareMachine, JudgesTheCompilerThatTheBuildWillTake) {
  addTool("id", "echo 1000");
  addTool("c++", "[ $1 = -dumpversion ] && echo 13.0.1 || echo 'clang version 13.0.1'");
  addTool("g++", "[ $1 = -dumpversion ] && echo 12 || echo 'g++ (Debian) 12.2.0'");
  addTool("cmake", "echo 'cmake version 3.25.1'");
  addTool("ninja", "echo 1.11.1");
  EXPECT_THAT(bootstrap().error, HasSubstr("missing: a C++20 compiler"));
  addTool("c++", "[ $1 = -dumpversion ] && echo 14.0.0 || echo 'clang version 14.0.0'");
  EXPECT_EQ(bootstrap().status, 0);
}

TEST_F(BareMachine, ForTheTestsIsToldWhatThePackageNeedsToo) {
  EXPECT_THAT(bootstrap("--check test").error, HasSubstr(" pkg-config python3\n"));
  addTool("pkg-config", "");
  addTool("python3", "echo Python 3.9.2");
  EXPECT_THAT(bootstrap("--check test").error,
              AllOf(HasSubstr("apt-get install"), Not(HasSubstr("python3"))));
}

TEST_F(BareMachine, WhenOnlyCheckingIsToldWhatToInstall) {
  addTool("id", "echo 0");
  addAptGet();
  const ProgramResult result = bootstrap("--check build");
  EXPECT_THAT(result.error, HasSubstr("apt-get install cmake g++ ninja-build\n"));
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(installed(), "");
}

// What the compiler calls itself holds a number that is not its version.
TEST_F(BareMachine, ACrossCompilerThatIsTooOldCountsAsMissing) {
  addTool("s390x-linux-gnu-g++",
          "[ $1 = -dumpversion ] && echo 10 || echo 's390x-linux-gnu-g++ 10'");
  EXPECT_THAT(bootstrap("--check portability-s390x").error, HasSubstr(" g++-s390x-linux-gnu "));
  addTool("s390x-linux-gnu-g++",
          "[ $1 = -dumpversion ] && echo 12 || echo 's390x-linux-gnu-g++ 12'");
  EXPECT_THAT(bootstrap("--check portability-s390x").error, Not(HasSubstr("g++-s390x-linux-gnu")));
}

TEST(Portability, HelpNamesPlatformsAndExitStatuses) {
  const ProgramResult result = runProgram(script("portability") + " --help");
  EXPECT_THAT(result.output, HasSubstr("s390x    big-endian"));
  EXPECT_THAT(result.output, HasSubstr("Exit status: 0"));
  EXPECT_EQ(result.status, 0);
}

TEST(Portability, RefusesAnUnknownPlatform) {
  const ProgramResult result = runProgram(script("portability") + " gcc s390");
  EXPECT_EQ(result.error, "portability: unknown platform 's390'; see scripts/portability --help\n");
  EXPECT_EQ(result.status, 2);
}

// Every platform of the one script is a purpose of the other.
TEST(Portability, BootstrapKnowsEveryPlatform) {
  const ProgramResult result =
      runProgram(R"(for platform in $(sed -n 's/^platforms=(\(.*\))$/\1/p' )" +
                 script("portability") + "); do " + script("bootstrap") +
                 " --check portability-$platform >/dev/null 2>&1 || "
                 "[ $? -eq 3 ] || exit 1; echo $platform; done");
  EXPECT_THAT(result.output, HasSubstr("gcc\n"));
  EXPECT_THAT(result.output, HasSubstr("lto\n"));
  EXPECT_EQ(result.status, 0);
}

TEST(ScriptTest, RefusesAnUnknownPreset) {
  const ProgramResult result = runProgram(script("build") + " no-such-preset");
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.error, HasSubstr("no-such-preset"));
  EXPECT_NE(result.status, 0);
}

TEST(ScriptTest, HelpNamesThePresets) {
  const ProgramResult result = runProgram(script("test") + " --help");
  EXPECT_THAT(result.output, HasSubstr("clang-asan"));
  EXPECT_EQ(result.status, 0);
}

TEST(Bench, HelpNamesOptionsAndExitStatuses) {
  const ProgramResult result = runProgram(script("bench") + " --help");
  EXPECT_THAT(result.output, HasSubstr("--check"));
  EXPECT_THAT(result.output, HasSubstr("Exit status: 0"));
  EXPECT_EQ(result.status, 0);
}

TEST(Bench, RefusesAnUnknownOptionAndTwo) {
  EXPECT_EQ(runProgram(script("bench") + " --chekc").error,
            "bench: unknown option '--chekc'; see scripts/bench --help\n");
  EXPECT_EQ(runProgram(script("bench") + " --chekc").status, 2);
  EXPECT_EQ(runProgram(script("bench") + " --check --quick").status, 2);
}

}  // namespace
}  // namespace egress::test

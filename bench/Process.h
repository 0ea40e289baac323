#pragma once

#include <map>
#include <string>
#include <vector>

#include "Child.h"
#include "TemporaryFolder.h"

namespace zul::bench {

using test::TemporaryFolder;

/// The file of this name beside the running program.
std::string besideProgram(const std::string& name);

/// Runs a program to its end, with its error output in `log`, and gives what it printed. Throws
/// std::runtime_error when it fails.
std::string run(const std::vector<std::string>& command, const std::string& log = "/dev/null");

/// The figures that zul-bench-host printed in one of its roles, by name.
using Figures = std::map<std::string, std::vector<double>>;
using HostOptions = std::map<std::string, std::string>;
Figures runHost(const std::string& role, const HostOptions& options, const std::string& log = "/dev/null");

/// The same program, which goes on beside this one.
test::Child startHost(const std::string& role, const HostOptions& options);

/// Where nothing listens.
constexpr const char* kNoCollector = "http://127.0.0.1:9";

}  // namespace zul::bench

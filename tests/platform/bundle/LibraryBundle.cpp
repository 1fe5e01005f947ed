// SPDX-License-Identifier: MIT
// A program that links the shared library: prints what the library's own bundle says.
#include <cstdio>

#include <IdlewynKit/IdlewynKit.hpp>

int main() {
  const idlewyn::Bundle& bundle = idlewyn::Bundle::library();
  const bool hasFile = bundle.resource("Info.json").has_value();
  std::printf("%s %s\n", bundle.text("name").value_or("no name").c_str(),
              hasFile ? bundle.text("version").value_or("no version").c_str() : "no file");
  return 0;
}

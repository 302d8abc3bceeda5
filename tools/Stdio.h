// Where the program's own words and data go.
#pragma once

#include <cstddef>
#include <string>

namespace tool {

// The library prints to standard output by contract. So the program keeps a copy of the descriptor for itself
// and points descriptor 1 elsewhere: to standard error when `verbose`, else to /dev/null. Call before the
// library loads.
void claimStdout(bool verbose);

// The program's standard output, wherever descriptor 1 points now.
int stdoutDescriptor();

// Writes all of it, or throws (exit code 3). `name` is for the message.
void writeAll(int descriptor, const void* data, std::size_t size, const std::string& name);

// A report on standard output.
void print(const std::string& text);
// A line on standard error.
void note(const std::string& text);

// "done/total" on one line of standard error, and only when that is a terminal. Total 0: not known.
class Progress {
public:
    explicit Progress(std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void show(std::size_t done);

private:
    bool m_visible;
    std::size_t m_total;
    int m_lastPercent = -1;
};

}  // namespace tool

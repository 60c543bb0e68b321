// Where a command writes: a file that appears whole or not at all, or standard output, a pipe or a device, which is
// written straight.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kann {

class OutputFile {
public:
    // Checks the target before any work is done: links are followed, an existing file must be writable. "-" is standard
    // output. Throws Failure.
    explicit OutputFile(const std::string& target);
    // Takes the temporary file away unless commit() has succeeded.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // For messages.
    const std::string& name() const { return name_; }
    // A file of its own to be worked on; what it holds becomes the output.
    const std::string& workPath();
    // The whole content; in place of work on workPath().
    void write(std::span<const std::uint8_t> bytes);
    void write(std::string_view text);
    // Makes the output appear: renames the temporary file, or copies it where a rename makes no sense.
    void commit();

private:
    void makeTemporary();

    std::string name_;
    std::string target_;             // links followed; empty for standard output
    std::string temporary_;          // empty while there is none
    std::vector<std::uint8_t> held_; // what goes straight to a target that is no regular file
    unsigned mode_ = 0;
    bool replaces_ = false; // a file is there
    bool special_ = false;  // not a regular file
};

// Both names lead to one file, so that what is written last takes the other's place. "-" is standard output; an input of
// that name isn't to be asked about.
bool leadToOneFile(const std::string& one, const std::string& other);

// From now on an interrupt, also that of a pipe that nobody reads, takes temporary files away before it ends the program.
void cleanUpOnSignals();

// Throws unless a store may be written there: a file that isn't empty and holds something else is left alone.
void refuseForeignFile(const std::string& target);

} // namespace kann

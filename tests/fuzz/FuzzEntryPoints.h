#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// Everything the program reads from outside, as one function per reader that takes raw
// bytes. The libFuzzer targets and the corpus regression test call the same functions,
// so an input that once crashed a target and was saved in the corpus is replayed by
// every `make test`.
//
// Each function returns normally for any input. A fault shows either as a sanitizer
// report or as a broken invariant of the reader (a record decoded but not written back
// the same way, a frame parsed to a size that is not positive, ...), which prints what
// broke and aborts, so libFuzzer saves the input as a crash.
namespace fuzz_entry {

using Bytes = std::span<const std::uint8_t>;

void settingsExchange(Bytes data);  // settings exchange file: decode, write back, apply
void gradientExchange(Bytes data);  // gradient exchange file: decode, write back
void gradientJson(Bytes data);      // custom gradients as kept in the settings store
void frameText(Bytes data);         // a saved window frame, "{{x, y}, {w, h}}"
void appcast(Bytes data);           // the update feed
void audioFile(Bytes data);         // any file handed to meter-file or analyze

// The function for a target name ("settings_exchange", ...), nullptr for an unknown one.
using EntryPoint = void (*)(Bytes);
EntryPoint entryPoint(std::string_view targetName);

// A Qt core application for the readers that need one (the meter-file path); made once.
void ensureCoreApplication();

} // namespace fuzz_entry

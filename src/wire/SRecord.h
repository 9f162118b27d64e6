#pragma once

// Motorola S-records, the text lines of a firmware file: "S", a type digit, two hex digits of
// byte count, then that many bytes in hex (address, data, checksum). The checksum is the ones'
// complement of the low byte of the sum of the count, address and data bytes.
//
// No Qt and no I/O: the firmware wizard's file summary and the simulated unit's loader both check
// records with this one reading.

#include <cstdint>
#include <string>
#include <string_view>

namespace mivel::wire {

enum class RecordFault {
    None,
    NotARecord,  // does not start with "S", or is shorter than a record's header
    BadType,     // S4, or a type that is not a digit
    BadHex,      // a character that is not a hex digit
    BadLength,   // the byte count disagrees with the line, or is too short for the address
    BadChecksum, // the last byte is not the checksum of the others
};

struct SRecord {
    char type = '0'; // '0' to '9'
    std::uint32_t address = 0;
    std::string data; // the data bytes, one char each
    RecordFault fault = RecordFault::None;

    bool ok() const { return fault == RecordFault::None; }
    // S1, S2 and S3 carry program bytes; S7, S8 and S9 end the file.
    bool carriesData() const { return type >= '1' && type <= '3'; }
    bool terminates() const { return type >= '7' && type <= '9'; }
};

// Reads one record, the line without its line end. A record that fails a check still reports
// what could be read (its type at least) with the first fault found.
SRecord readRecord(std::string_view line);

// Address bytes of a record type: 2 for S0, S1, S5 and S9; 3 for S2, S6 and S8; 4 for S3 and S7;
// 0 for a type that does not exist.
int addressBytes(char type);

// A record of the given type, address and data, with its count and checksum (for tests and
// benchmarks that need firmware files).
std::string makeRecord(char type, std::uint32_t address, std::string_view data);

} // namespace mivel::wire

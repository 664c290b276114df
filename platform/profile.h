#pragma once

// Profile (.ini) files as Windows reads them: sections in brackets, key=value lines, names without regard to
// case, blanks around names and values dropped, one pair of quotes (double or single) around a value dropped,
// lines that begin with ";" skipped. Of equal sections and keys the first counts. Paths are library paths;
// text stays in code page 932. Any thread may call; writers of all processes wait for each other.
namespace platform {

// The number at the start of the value (0 for a value that has none), or `default_value` when the key is
// missing: decimal, or behind 0x, 0o or 0b, with or without a sign, on 32 bits.
unsigned GetPrivateProfileInt(char const* section, char const* key, int default_value, char const* file);
// Writes at most `size` - 1 bytes and a NUL to `out`; a longer value is cut there, never inside a double-byte
// character. Result: bytes written without the NUL. A null `default_value` counts as empty; blanks at its end
// are dropped.
unsigned GetPrivateProfileString(char const* section, char const* key, char const* default_value, char* out,
                                 unsigned size, char const* file);
// Sets one value, making file and section as needed; everything else in the file stays as it is. A null
// `value` removes the key, a null `key` the section. Non-zero for success; 0 also for names and values that
// could not be read back (line ends, a key with "=", a section with "]", no name). After a failure the file
// is as it was.
int WritePrivateProfileString(char const* section, char const* key, char const* value, char const* file);

}  // namespace platform

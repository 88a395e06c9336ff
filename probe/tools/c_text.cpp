// Literals, and the sources in C, which the assembler takes in as they are.
#include "probe/tools/c_text.h"

#include <cctype>

asm(".section .rodata\n"
    "pcsimExportedHost:\n"
    ".incbin \"" PCSIM_TOOLS_FOLDER
    "/exported_host.c\"\n"
    ".incbin \"" PCSIM_TOOLS_FOLDER
    "/exported_calls.c\"\n"
    ".incbin \"" PCSIM_TOOLS_FOLDER
    "/exported_functions.c\"\n"
    ".byte 0\n"
    ".previous\n");

extern "C" const char pcsimExportedHost[];

namespace pcsim::probe {

std::string cLiteral(std::span<const uint8_t> bytes) {
    constexpr size_t kLine = 72;
    std::string text = "\"";
    size_t line = 0;
    for (size_t index = 0; index < bytes.size(); ++index) {
        const uint8_t byte = bytes[index];
        const bool digitBehind = index + 1 < bytes.size() && std::isdigit(bytes[index + 1]) != 0;
        std::string piece;
        if (byte == '\n') {
            piece = "\\n";
        } else if (std::isprint(byte) != 0 && byte != '"' && byte != '\\' && byte != '?') {
            piece = static_cast<char>(byte);
        } else {
            for (int shift = digitBehind || byte > 077 ? 6
                             : byte > 7                ? 3
                                                       : 0;
                 shift >= 0; shift -= 3)
                piece += static_cast<char>('0' + (byte >> shift & 7));
            piece.insert(piece.begin(), '\\');
        }
        if (line + piece.size() > kLine) {
            text += "\"\n        \"";
            line = 0;
        }
        text += piece;
        line += piece.size();
    }
    return text + "\"";
}

std::string cLiteral(std::string_view text) {
    return cLiteral(std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
}

std::string cComment(std::string_view text) {
    std::string result(text);
    for (size_t at = 0; (at = result.find("*/", at)) != std::string::npos;) result[at] = '+';
    for (size_t at = 0; (at = result.find("/*", at)) != std::string::npos;) result[at] = '+';
    for (char& each : result)
        if (each == '\n') each = ' ';
    return result;
}

std::string_view exportedHost() {
    return pcsimExportedHost;
}

}  // namespace pcsim::probe

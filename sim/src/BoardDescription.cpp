#include "BoardDescription.h"

#include <quarn/Accessors.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include <ctype.h>

#include <sstream>

namespace quarn::sim {

namespace {

using Words = std::vector<std::string>;

/// One form that a line can have. Words of the syntax in small letters stand for themselves, others for one
/// value each, "[X]" for one that can be left out, "X..." for one or more.
struct Form {
    const char* section;
    const char* syntax;
    void (*add)(SimulatedBoard& board, const Words& words);
};

uint8_t Address(const std::string& word) {
    return uint8_t(ParseU32(word, 0x7F));
}

size_t Size(const std::string& word) {
    return size_t(ParseU64(word, 0));
}

uint32_t Number(const std::string& word) {
    return uint32_t(ParseU64(word, UINT32_MAX));
}

/// What was left out is empty.
std::string Optional(const Words& words, size_t index) {
    return index < words.size() ? words[index] : "";
}

void SetRights(SimulatedBoard& board, const Words& words) {
    uint8_t first, last;
    if (!ParseByteRange(words[2], &first, &last, '-'))
        throw MonitorException("SIM: bad register range \"%s\"", words[2].c_str());
    board.SetI2CRights(words[0], Address(words[1]), first, last, words[3]);
}

void SetValues(SimulatedBoard& board, const Words& words) {
    const uint8_t address = Address(words[1]);
    const size_t first = Size(words[2]);
    const std::vector<uint8_t> bytes = ParseByteVector(words.begin() + 3, words.end());
    board.I2CByte(words[0], address, first + bytes.size() - 1);  // all or none
    for (size_t i = 0; i < bytes.size(); ++i)
        board.SetI2CByte(words[0], address, first + i, bytes[i]);
}

const Form kForms[] = {
    {"i2c", "BUS ADDRESS registers COUNT",
     [](SimulatedBoard& board, const Words& w) { board.AddI2CRegisters(w[0], Address(w[1]), Size(w[3])); }},
    {"i2c", "BUS ADDRESS eeprom SIZE PAGE",
     [](SimulatedBoard& board, const Words& w) {
         board.AddI2CEEPROM(w[0], Address(w[1]), Size(w[3]), Size(w[4]));
     }},
    {"i2c-rights", "BUS ADDRESS REGISTERS RIGHTS", SetRights},
    {"i2c-values", "BUS ADDRESS FIRST BYTE...", SetValues},
    {"spi", "NODE loopback", [](SimulatedBoard& board, const Words& w) { board.AddSPILoopback(w[0]); }},
    {"spi", "NODE shift BYTES",
     [](SimulatedBoard& board, const Words& w) { board.AddSPIShiftRegister(w[0], Size(w[2])); }},
    {"gpio", "chip LABEL LINES",
     [](SimulatedBoard& board, const Words& w) { board.AddGPIOChip(w[1], Number(w[2])); }},
    {"gpio", "drive LABEL LINE LEVEL",
     [](SimulatedBoard& board, const Words& w) {
         board.DriveLine(w[1], Number(w[2]), ParseU32(w[3], 1) != 0);
     }},
    {"gpio", "wire LABEL LINE LABEL LINE",
     [](SimulatedBoard& board, const Words& w) { board.WireLines(w[1], Number(w[2]), w[3], Number(w[4])); }},
    {"gpio", "hold LABEL LINE CONSUMER",
     [](SimulatedBoard& board, const Words& w) { board.HoldLine(w[1], Number(w[2]), w[3]); }},
    {"memory", "timer ADDRESS",
     [](SimulatedBoard& board, const Words& w) { board.AddTimer(ParseU64(w[1], 0)); }},
    {"memory", "counter ADDRESS HERTZ",
     [](SimulatedBoard& board, const Words& w) { board.AddCounter(ParseU64(w[1], 0), Number(w[2])); }},
    {"memory", "word ADDRESS VALUE",
     [](SimulatedBoard& board, const Words& w) { board.SetWord(ParseU64(w[1], 0), Number(w[2])); }},
    {"memory", "ADDRESS SIZE",
     [](SimulatedBoard& board, const Words& w) { board.AddMemory(ParseU64(w[0], 0), Size(w[1])); }},
    {"storage", "mtd NAME SIZE ERASE-SIZE [FILE]",
     [](SimulatedBoard& board, const Words& w) {
         board.AddMTD(w[1], Size(w[2]), Size(w[3]), Optional(w, 4));
     }},
    {"storage", "eeprom PATH SIZE [FILE]",
     [](SimulatedBoard& board, const Words& w) { board.AddEEPROMFile(w[1], Size(w[2]), Optional(w, 3)); }},
};

bool Fits(const Words& words, const Words& syntax) {
    size_t required = 0;
    for (const std::string& part : syntax) {
        if (part.starts_with('['))
            continue;
        if (required >= words.size() || (islower(part[0]) && part != words[required]))
            return false;
        ++required;
    }
    return words.size() <= syntax.size() || syntax.back().ends_with("...");
}

}  // namespace

std::set<std::string> BoardDescription::GetConfigurationSections() const {
    std::set<std::string> sections;
    for (const Form& form : kForms)
        sections.insert(form.section);
    return sections;
}

void BoardDescription::Configure(const std::string& section, const std::vector<std::string>& words) {
    std::string forms;
    for (const Form& form : kForms) {
        if (section != form.section)
            continue;
        if (Fits(words, Tokenize(form.syntax))) {
            form.add(board_, words);
            return;
        }
        Append(forms, Format("\"%s\"", form.syntax), ", ");
    }
    throw MonitorException("SIM: a line of [%s] is one of %s", section.c_str(), forms.c_str());
}

void SimulatedBoard::Load(const std::string& path) {
    BoardDescription description(*this);
    Accessors accessors;
    accessors.Add(description);
    accessors.Configure(path);
}

void SimulatedBoard::AddDefaultDevices() {
    BoardDescription description(*this);
    std::istringstream text(kDefaultBoard);
    std::string section;
    for (std::string line; std::getline(text, line);) {
        const Words words = Tokenize(line);
        if (words.empty() || words[0].starts_with('#'))
            continue;
        if (words[0].starts_with('['))
            section = words[0].substr(1, words[0].find(']') - 1);
        else
            description.Configure(section, words);
    }
}

}  // namespace quarn::sim

// Writes flowgram (SFF version 1) files byte by byte, for tests, benchmarks,
// the demo generator and the project builder. One writer for all of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One read as it goes into the file. Empty flows/flowIndex are derived from the
// bases and the flow order; empty quals become 30 for every base.
struct SffEntry {
    std::string name;
    std::string bases;               // written as given (case kept)
    std::vector<uint8_t> quals;      // one score per base
    std::vector<uint16_t> flows;     // one signal per flow, in hundredths
    std::vector<uint8_t> flowIndex;  // per base: flows advanced since the previous base
    uint16_t clipQualLeft = 0;       // the four clip values: 1-based, 0 = unset
    uint16_t clipQualRight = 0;
    uint16_t clipAdapterLeft = 0;
    uint16_t clipAdapterRight = 0;
};

// Where the index block goes.
enum class SffIndexPlace { NONE, END, MIDDLE };

class SffWriter {
public:
    std::string flowChars;  // flow order, one character a flow
    std::string key = "TCAG";
    SffIndexPlace indexPlace = SffIndexPlace::END;
    int indexAfterRead = -1;  // MIDDLE: the index follows this read (-1: half of the reads)
    std::vector<SffEntry> reads;

    // Filled by build()/write(): where each entry starts and how many bytes it has.
    std::vector<uint64_t> offsets;
    std::vector<uint32_t> entrySizes;
    uint64_t indexOffset = 0;
    uint32_t indexLength = 0;
    uint16_t headerLength = 0;

    // A writer with the flow order "TACG" repeated up to numFlows characters.
    explicit SffWriter(int numFlows = 400);

    // Appends a read, deriving flows and flow index from the bases when they are empty.
    // Ends the process if the bases need more flows than the file has.
    void add(const SffEntry& read);
    // Shorthand: a read with bases, default scores and the given clip values.
    void add(const std::string& name, const std::string& bases, uint16_t clipQualLeft = 0,
             uint16_t clipQualRight = 0, uint16_t clipAdapterLeft = 0,
             uint16_t clipAdapterRight = 0);

    // The whole file image; fills offsets, entrySizes and the index figures.
    std::string build();
    // Writes the file to path, entry by entry (the image is never held whole);
    // fills the same figures. False if the file can't be written.
    bool write(const std::string& path);
    // Computes headerLength, offsets, entrySizes and the index place from the reads.
    void layout();

    // Fills read.flows and read.flowIndex from its bases under the given flow order.
    // Returns false if the bases need more flows than there are.
    static bool deriveFlows(SffEntry& read, const std::string& flowChars);
    // Byte length of an entry with this name, base count and flow count.
    static uint32_t entryLength(size_t nameLength, size_t numBases, size_t numFlows);

    // Big-endian appends.
    static void put16(std::string& out, uint16_t v);
    static void put32(std::string& out, uint32_t v);
    static void put64(std::string& out, uint64_t v);
    // Zero bytes up to a multiple of 8.
    static void pad8(std::string& out);

private:
    void appendHeader(std::string& out) const;
    void appendEntry(std::string& out, const SffEntry& e) const;
    void appendIndex(std::string& out) const;
    // Lays the file out and hands it to sink in chunks; false if sink fails.
    bool emit(const std::function<bool(std::string&)>& sink);
};

#include "SffWriter.h"

#include <cstdint>
#include <cstdio>

#include "Util.h"

SffWriter::SffWriter(int numFlows) {
    static const char CYCLE[] = "TACG";
    for (int i = 0; i < numFlows; i++) flowChars += CYCLE[i & 3];
}

void SffWriter::add(const SffEntry& read) {
    reads.push_back(read);
    SffEntry& r = reads.back();
    if (r.flows.empty() || r.flowIndex.empty()) {
        if (!deriveFlows(r, flowChars))
            die("Error:  Read %s does not fit in %d flows.\n", r.name.c_str(),
                (int)flowChars.size());
    }
    if (r.quals.empty()) r.quals.assign(r.bases.size(), 30);
}

void SffWriter::add(const std::string& name, const std::string& bases, uint16_t clipQualLeft,
                    uint16_t clipQualRight, uint16_t clipAdapterLeft, uint16_t clipAdapterRight) {
    SffEntry r;
    r.name = name;
    r.bases = bases;
    r.clipQualLeft = clipQualLeft;
    r.clipQualRight = clipQualRight;
    r.clipAdapterLeft = clipAdapterLeft;
    r.clipAdapterRight = clipAdapterRight;
    add(r);
}

bool SffWriter::deriveFlows(SffEntry& read, const std::string& flowChars) {
    const size_t nf = flowChars.size();
    read.flows.assign(nf, 0);
    read.flowIndex.assign(read.bases.size(), 0);
    // Walk the flows; each run of the flow's base is called in that flow. A base
    // that no flow carries (an N) is called in the current flow.
    size_t flow = 0;
    size_t lastFlow = 0;  // 1-based flow of the previous base, 0 before the first
    for (size_t i = 0; i < read.bases.size(); i++) {
        char b = read.bases[i];
        if (b >= 'a' && b <= 'z') b = (char)(b - 'a' + 'A');
        bool inOrder = flowChars.find(b) != std::string::npos;
        if (inOrder) {
            while (flow < nf && flowChars[flow] != b) flow++;
            if (flow >= nf) return false;
        } else if (flow >= nf) {
            return false;
        }
        if (read.flows[flow] < 65535 - 100) read.flows[flow] += 100;
        size_t oneBased = flow + 1;
        read.flowIndex[i] = (uint8_t)(oneBased - lastFlow);
        lastFlow = oneBased;
    }
    return true;
}

uint32_t SffWriter::entryLength(size_t nameLength, size_t numBases, size_t numFlows) {
    size_t head = 16 + nameLength;
    head = (head + 7) & ~(size_t)7;
    size_t data = numFlows * 2 + 3 * numBases;
    data = (data + 7) & ~(size_t)7;
    return (uint32_t)(head + data);
}

void SffWriter::put16(std::string& out, uint16_t v) {
    out += (char)(v >> 8);
    out += (char)(v & 0xFF);
}

void SffWriter::put32(std::string& out, uint32_t v) {
    put16(out, (uint16_t)(v >> 16));
    put16(out, (uint16_t)(v & 0xFFFF));
}

void SffWriter::put64(std::string& out, uint64_t v) {
    put32(out, (uint32_t)(v >> 32));
    put32(out, (uint32_t)(v & 0xFFFFFFFFULL));
}

void SffWriter::pad8(std::string& out) {
    while (out.size() % 8 != 0) out += '\0';
}

void SffWriter::layout() {
    const size_t nf = flowChars.size();
    size_t header = (31 + nf + key.size() + 7) & ~(size_t)7;
    headerLength = (uint16_t)header;
    offsets.clear();
    entrySizes.clear();
    indexOffset = 0;
    indexLength = 0;
    if (indexPlace != SffIndexPlace::NONE) {
        // The index block: each read's offset, big-endian, padded to 8.
        size_t bytes = (reads.size() * 4 + 7) & ~(size_t)7;
        indexLength = (uint32_t)(bytes == 0 ? 8 : bytes);
    }
    int middle = indexAfterRead >= 0 ? indexAfterRead : (int)reads.size() / 2 - 1;
    uint64_t at = header;
    if (indexPlace == SffIndexPlace::MIDDLE && middle < 0) {
        indexOffset = at;
        at += indexLength;
    }
    for (size_t r = 0; r < reads.size(); r++) {
        uint32_t size = entryLength(reads[r].name.size(), reads[r].bases.size(), nf);
        offsets.push_back(at);
        entrySizes.push_back(size);
        at += size;
        if (indexPlace == SffIndexPlace::MIDDLE && (int)r == middle) {
            indexOffset = at;
            at += indexLength;
        }
    }
    if (indexPlace == SffIndexPlace::END ||
        (indexPlace == SffIndexPlace::MIDDLE && indexOffset == 0)) {
        indexOffset = at;
    }
}

void SffWriter::appendHeader(std::string& out) const {
    out += ".sff";
    out += std::string("\0\0\0\1", 4);
    put64(out, indexOffset);
    put32(out, indexLength);
    put32(out, (uint32_t)reads.size());
    put16(out, headerLength);
    put16(out, (uint16_t)key.size());
    put16(out, (uint16_t)flowChars.size());
    out += '\1';  // flowgram format code
    out += flowChars;
    out += key;
    pad8(out);
}

void SffWriter::appendEntry(std::string& out, const SffEntry& e) const {
    const size_t nf = flowChars.size();
    const size_t nb = e.bases.size();
    put16(out, (uint16_t)((16 + e.name.size() + 7) & ~(size_t)7));
    put16(out, (uint16_t)e.name.size());
    put32(out, (uint32_t)nb);
    put16(out, e.clipQualLeft);
    put16(out, e.clipQualRight);
    put16(out, e.clipAdapterLeft);
    put16(out, e.clipAdapterRight);
    out += e.name;
    pad8(out);
    for (size_t f = 0; f < nf; f++) put16(out, f < e.flows.size() ? e.flows[f] : 0);
    for (size_t i = 0; i < nb; i++) out += (char)(i < e.flowIndex.size() ? e.flowIndex[i] : 0);
    out += e.bases;
    for (size_t i = 0; i < nb; i++) out += (char)(i < e.quals.size() ? e.quals[i] : 30);
    pad8(out);
}

void SffWriter::appendIndex(std::string& out) const {
    size_t start = out.size();
    for (uint64_t o : offsets) put32(out, (uint32_t)o);
    out.resize(start + indexLength, '\0');
}

bool SffWriter::emit(const std::function<bool(std::string&)>& sink) {
    layout();
    std::string out;
    appendHeader(out);
    bool indexDone = indexPlace == SffIndexPlace::NONE;
    for (size_t r = 0; r <= reads.size(); r++) {
        uint64_t at = r < reads.size() ? offsets[r] : UINT64_MAX;
        // The index goes where the layout put it: before this read, or at the end.
        if (!indexDone && (indexOffset < at || r == reads.size())) {
            appendIndex(out);
            indexDone = true;
        }
        if (r < reads.size()) appendEntry(out, reads[r]);
        if (out.size() >= (1 << 20) && !sink(out)) return false;
    }
    return sink(out);
}

std::string SffWriter::build() {
    std::string image;
    emit([&](std::string& chunk) {
        image += chunk;
        chunk.clear();
        return true;
    });
    return image;
}

bool SffWriter::write(const std::string& path) {
    FILE* fp = fopen(path.c_str(), "wb");
    if (!fp) return false;
    bool ok = emit([&](std::string& chunk) {
        bool done = fwrite(chunk.data(), 1, chunk.size(), fp) == chunk.size();
        chunk.clear();
        return done;
    });
    if (fclose(fp) != 0) ok = false;
    return ok;
}

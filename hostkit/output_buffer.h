// output_buffer.h - large, buffered writes to a stdio stream. The CLI writes
// everything through one of these so that per-character output never turns
// into per-character system calls.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

class OutputBuffer {
public:
    explicit OutputBuffer(FILE* file) : file_(file) { buffer_.reserve(kChunk); }
    ~OutputBuffer() { Flush(); }
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    void Write(std::string_view text) {
        buffer_.append(text.data(), text.size());
        if (buffer_.size() >= kChunk) Flush();
    }
    void Flush() {
        if (!buffer_.empty() && std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size())
            failed_ = true;
        buffer_.clear();
        if (std::fflush(file_) != 0) failed_ = true;
    }
    bool failed() const { return failed_; }

private:
    static constexpr size_t kChunk = 256 * 1024;
    FILE* file_;
    std::string buffer_;
    bool failed_ = false;
};

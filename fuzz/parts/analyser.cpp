// SPDX-License-Identifier: MIT
#include "parts/analyser.h"

#include "parts/clock_double.h"
#include "zvmem_ext.h"

namespace fuzz {
namespace {

// The first member that the library has added for itself.
constexpr size_t kDocumentedSize = offsetof(MPEGTSContext, dispatch);

// -> the offset of the first byte in which two records differ, `size` when they are equal
size_t first_difference(const void* a, const void* b, size_t size) {
    const auto* left = static_cast<const uint8_t*>(a);
    return static_cast<size_t>(
        std::mismatch(left, left + size, static_cast<const uint8_t*>(b)).first - left);
}

// The context without its one pointer, which becomes an offset.
std::unique_ptr<uint8_t[]> comparable(const MPEGTSContext& context) {
    auto bytes = std::make_unique<uint8_t[]>(kDocumentedSize);
    memcpy(bytes.get(), &context, kDocumentedSize);
    // The padding after the header's last member is not written by unoptimised code.
    bytes[offsetof(MPEGTSContext, ts_head) + offsetof(ts_head, continuity_counter) + 1] = 0;
    const ptrdiff_t offset = context.btc_es == nullptr
                                 ? 0
                                 : reinterpret_cast<const uint8_t*>(context.btc_es) -
                                       reinterpret_cast<const uint8_t*>(&context);
    memcpy(bytes.get() + offsetof(MPEGTSContext, btc_es), &offset, sizeof offset);
    return bytes;
}

void require_equal(const void* a, const void* b, size_t size, const char* promise) {
    const size_t at = first_difference(a, b, size);
    if (at == size) return;
    fprintf(stderr, "they differ at offset %zu of %zu\n", at, size);
    require(false, promise);
}

}  // namespace

Analyser::Analyser(const char* name) : info_(std::make_unique<StreamInfo>()) {
    memset(static_cast<void*>(info_.get()), 0, sizeof *info_);
    reset_clock();
    mpegts_init(&context_, name, nullptr);
    require(context_ != nullptr, "init makes a context");
}

Analyser::~Analyser() {
    const uint64_t blocks = zvmem_ext_live(nullptr).blocks;
    mpegts_deinit(&context_);
    require(context_ == nullptr, "deinit clears the slot");
    require(zvmem_ext_live(nullptr).blocks == blocks - 1, "deinit frees the context");
}

int Analyser::parse(std::span<const uint8_t> bytes, uint32_t options) {
    ExactBytes block(bytes);
    const int result = mpegts_parse(context_, block.data(), block.length(), options);
    require(block.equals(bytes), "parse leaves the buffer alone");
    require(result >= -1 && result <= 1, "parse returns -1, 0 or 1");
    return result;
}

void Analyser::report() {
    mpegts_updateInfo(context_, info_.get());
    mpegts_innerapi_showStatistics(context_);
    line_.text()[0] = '\0';
    mpegts_api_getStreamInfo(info_.get(), line_.text(), 1);
    require(memchr(line_.data(), 0, line_.size()) != nullptr, "the line is terminated");
}

void Analyser::require_same_context(Analyser& other) {
    const auto left = comparable(*context_);
    const auto right = comparable(*other.context_);
    require_equal(left.get(), right.get(), kDocumentedSize, "both ways leave the same context");
}

void Analyser::require_same_report(Analyser& other) {
    require_equal(info_.get(), other.info_.get(), sizeof *info_, "both ways report the same");
    require(strcmp(line_.text(), other.line_.text()) == 0, "both ways print the same line");
}

}  // namespace fuzz

// Until the RTF renderer lands: the body's bytes as Latin-1 text, a
// paragraph at each line end. Enough to drive the session's paging.
#include "platform/support/support_filter.h"

namespace {

class LineRenderer : public BodyRenderer {
public:
    explicit LineRenderer(const RenderContext& context) : context_(context) {}
    void Feed(const uint8_t* bytes, size_t length, bool last) override {
        for (size_t i = 0; i < length; ++i) {
            if (bytes[i] == '\n')
                context_.out->Break();
            else if (bytes[i] != '\r')
                context_.out->Char(bytes[i]);
        }
        if (last) context_.out->Break();
    }

private:
    const RenderContext& context_;
};

}  // namespace

std::unique_ptr<BodyRenderer> MakeRtfRenderer(const RenderContext& context) {
    return std::make_unique<LineRenderer>(context);
}

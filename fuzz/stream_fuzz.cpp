// Every record stream, decoded in lockstep and one value after the other: the same records, and
// the same bytes consumed, whatever the bytes are. What can be encoded again decodes to itself.
#include <memory>

#include "codec/codecs.h"
#include "codec/fast_stream.h"
#include "input.h"

namespace qrx::fuzz {
namespace {

constexpr size_t kMaxStreams = 9;
constexpr int kMaxRecords = 40;

template <class Record>
void Compare(Input& input) {
    struct Case {
        std::unique_ptr<Body> pBody;
        std::unique_ptr<Record[]> pPlain, pFast;
        int nRecords;
        int nUsed;
    };
    Case cases[kMaxStreams];
    codec::StreamCursor cursors[kMaxStreams];
    const size_t nStreams = 1 + static_cast<size_t>(input.Below(kMaxStreams));
    for (size_t i = 0; i < nStreams; ++i) {
        Case& c = cases[i];
        c.nRecords = input.Below(kMaxRecords);
        const auto nBytes = static_cast<size_t>(input.Take<uint16_t>() % 2048);
        c.pBody = std::make_unique<Body>(input.Bytes(nBytes));
        const auto n = static_cast<size_t>(c.nRecords) + 1;  // one more: it must stay untouched
        c.pPlain.reset(new Record[n]());
        c.pFast.reset(new Record[n]());
        c.nUsed =
            codec::DecodeStream(c.pBody->Get(), c.pBody->Length(), c.pPlain.get(), c.nRecords);
        cursors[i].p = c.pBody->Get();
        cursors[i].pEnd = c.pBody->Get() + c.pBody->Length();
        cursors[i].pDst = reinterpret_cast<char*>(c.pFast.get());
        cursors[i].nLeft = c.nRecords;
    }
    codec::DecodeStreams<Record>(cursors, nStreams);
    for (size_t i = 0; i < nStreams; ++i) {
        const Case& c = cases[i];
        const auto n = static_cast<size_t>(c.nRecords) + 1;
        Must(memcmp(c.pPlain.get(), c.pFast.get(), n * sizeof(Record)) == 0, "records differ");
        Must(c.nUsed <= c.pBody->Length() + codec::kMaxIntegerBytes, "read beyond the padding");
        std::string strStream;
        if (c.nRecords == 0 || !codec::EncodeRecord(c.pPlain[0], strStream)) continue;
        const Body again(strStream);
        Record record{};
        codec::DecodeStream(again.Get(), again.Length(), &record, 1);
        Must(memcmp(&record, &c.pPlain[0], sizeof record) == 0, "encoded otherwise than decoded");
    }
}

}  // namespace
}  // namespace qrx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    using namespace qrx::fuzz;
    static constexpr void (*kKinds[])(Input&) = {
        Compare<ZPMDefine_Tick_Night>,     Compare<ZPMDefine_Tick_AB_Night>,
        Compare<ZPMDefine_Transaction_v2>, Compare<ZPMDefine_Order_v2>,
        Compare<ZPMDefine_OrderQueue>,     Compare<ZPMDefine_TickData_Index_ACC_EX>,
        Compare<ZPMDefine_KData>,          Compare<ZPMDefine_KData_Index>,
        Compare<ZPMDefine_Future_Night>,   Compare<ZPMDefine_Future_AB_Night>};
    Input input(pData, nSize);
    kKinds[input.Below(static_cast<int>(std::size(kKinds)))](input);
    return 0;
}

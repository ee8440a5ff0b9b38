// Repairs of two programs that the kernel test runs and that are not ours; the library is preloaded
// into both.
//
// linux.uml keeps the first 2696 bytes of a process's extended registers, but the kernel below
// takes back the whole state only. Where the processor has more (tile registers) every restore
// fails and the guest never starts: the missing tail is restored as zeros.
//
// tgtd 1.0.85 adds up the page positions of a READ ELEMENT STATUS for all element types wrongly:
// pages overlap, and the drives are written behind the end of its memory. Asked for one type at a
// time it is right. So it is asked four times, and its own pages are put one behind the other as
// SMC wants them. Each answer is 8 bytes short: without volume tags the last element of a type has
// no source address.
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <sys/types.h>
#include <sys/uio.h>

static int (*giOneType)(int, void**);

// tgtd's command, in words of 8 bytes: 9 the reply buffer, 10 its size and the bytes sent (32 bits
// each), 11 the bytes left, 18 the CDB.
static int iAllTypes(int iHost, void** vppCommand)
{
    static uint8_t cAll[32767];
    auto* const cpReply = static_cast<uint8_t*>(vppCommand[9]);
    auto* const cpCDB = static_cast<uint8_t*>(vppCommand[18]);
    auto* const uipSizes = reinterpret_cast<uint32_t*>(vppCommand + 10);
    const uint8_t cFlags = cpCDB[1];
    uint32_t uiEnd = 8;
    int iStatus = 0;

    if ((cFlags & 15) != 0 || uipSizes[0] < sizeof cAll) {
        return giOneType(iHost, vppCommand);
    }
    for (cpCDB[1] |= 1; iStatus == 0 && (cpCDB[1] & 15) <= 4; cpCDB[1]++) {
        memset(cpReply, 0, uipSizes[0]);
        iStatus = giOneType(iHost, vppCommand);
        const uint32_t uiPage = 8U + cpReply[14] * 256U + cpReply[15];
        if (uiEnd + uiPage <= sizeof cAll) {
            memcpy(cAll + uiEnd, cpReply + 8, uiPage);
            uiEnd += uiPage;
        }
    }
    cpCDB[1] = cFlags;
    if (iStatus == 0) {
        cAll[6] = uint8_t((uiEnd - 8) >> 8);
        cAll[7] = uint8_t(uiEnd - 8);
        memcpy(cpReply, cAll, uiEnd);
        uipSizes[1] = uiEnd;
        uipSizes[2] = uipSizes[0] - uiEnd;
    }
    return iStatus;
}

// tgtd calls this first when all its device types are registered. A device type, in words: 0 type,
// 7 + 3 x opcode its operations, 775 and 776 next and previous. One of our own leads to the
// changer's.
extern "C" int listen(int iSocket, int iBacklog)
{
    static void* vpOwn[777] = {};
    auto* const iRegister =
        reinterpret_cast<int (*)(void**)>(dlsym(RTLD_DEFAULT, "device_type_register"));
    void** vppType = vpOwn;

    memset(vpOwn, 0xFF, 1);
    if (giOneType == nullptr && iRegister != nullptr && iRegister(vpOwn) == 0) {
        do {
            vppType = static_cast<void**>(vppType[776]) - 775;
        } while (*reinterpret_cast<uint8_t*>(vppType) != 8 && vppType != vpOwn);
        giOneType = reinterpret_cast<int (*)(int, void**)>(vppType[7 + 3 * 0xB8]);
        vppType[7 + 3 * 0xB8] = reinterpret_cast<void*>(iAllTypes);
    }
    return reinterpret_cast<int (*)(int, int)>(dlsym(RTLD_NEXT, "listen"))(iSocket, iBacklog);
}

extern "C" long ptrace(int iRequest, pid_t iPid, uint64_t uiAddress, iovec* pPart)
{
    constexpr int iGetRegset = 0x4204, iSetRegset = 0x4205, iXstate = 0x202;
    static auto* const next = reinterpret_cast<long (*)(int, ...)>(dlsym(RTLD_NEXT, "ptrace"));
    static char szState[65536];
    static size_t iWhole = 0;
    iovec whole = {szState, sizeof szState};

    if (iRequest != iSetRegset || uiAddress != iXstate) {
        return next(iRequest, iPid, uiAddress, pPart);
    }
    if (iWhole == 0 && next(iGetRegset, iPid, uiAddress, &whole) == 0) {
        iWhole = whole.iov_len;
        memset(szState, 0, sizeof szState);
    }
    memcpy(szState, pPart->iov_base, pPart->iov_len < iWhole ? pPart->iov_len : iWhole);
    whole.iov_len = iWhole;
    return next(iRequest, iPid, uiAddress, &whole);
}

// Repairs of two programs that the kernel test runs and that are not ours; the library is preloaded
// into both.
//
// linux.uml keeps the first 2696 bytes of a process's extended registers, but the kernel below
// takes back the whole state only. Where the processor has more (tile registers) every restore
// fails and the guest never starts: the missing tail is put back as it is.
//
// tgtd 1.0.85 adds up the page positions of a READ ELEMENT STATUS for all element types wrongly:
// pages overlap, and the drives are written behind the end of its memory. Asked for one type at a
// time it is right. So it is asked four times, and its own pages are put one behind the other as
// SMC wants them. Each answer is 8 bytes short: without volume tags the last element of a type has
// no source address.
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <linux/ptrace.h>
#include <sys/types.h>
#include <sys/uio.h>

static int (*giOneType)(int, void**);

// tgtd's command, in words of 8 bytes: 9 the reply buffer, 10 its size and the bytes sent (32 bits
// each), 11 the bytes left, 18 the CDB.
static int iAllTypes(int iHost, void** vppCommand)
{
    static uint8_t cAll[5 * 65536];
    auto* const cpReply = static_cast<uint8_t*>(vppCommand[9]);
    auto* const cpCDB = static_cast<uint8_t*>(vppCommand[18]);
    auto* const uipSizes = reinterpret_cast<uint32_t*>(vppCommand + 10);
    const uint8_t cFlags = cpCDB[1];
    uint32_t uiEnd = 8;
    int iStatus = 0;

    if ((cFlags & 15) != 0)
        return giOneType(iHost, vppCommand);
    for (int iType = 1; iType <= 4 && iStatus == 0; iType++) {
        memset(cpReply, 0, uipSizes[0]);
        cpCDB[1] = cFlags | iType;
        iStatus = giOneType(iHost, vppCommand);
        const uint32_t uiPage = 8 + cpReply[14] * 256 + cpReply[15];
        memcpy(cAll + uiEnd, cpReply + 8, uiPage);
        uiEnd += uiPage;
    }
    cpCDB[1] = cFlags;
    if (iStatus == 0) {
        cAll[6] = (uiEnd - 8) >> 8;
        cAll[7] = uiEnd - 8;
        memcpy(cpReply, cAll, uiEnd);
        uipSizes[1] = uiEnd;
        uipSizes[2] = uipSizes[0] - uiEnd;
    }
    return iStatus;
}

// tgtd's changer, in words of 8 bytes: 7 + 3 x opcode is what carries that command out.
__attribute__((constructor)) static void vRepairChanger()
{
    auto* const vppChanger = static_cast<void**>(dlsym(RTLD_DEFAULT, "smc_template"));
    if (vppChanger != nullptr) {
        giOneType = reinterpret_cast<int (*)(int, void**)>(vppChanger[7 + 3 * 0xB8]);
        vppChanger[7 + 3 * 0xB8] = reinterpret_cast<void*>(iAllTypes);
    }
}

extern "C" long ptrace(int iRequest, pid_t iPid, uintptr_t uiAddress, iovec* pPart)
{
    static auto* const next = reinterpret_cast<long (*)(int, ...)>(dlsym(RTLD_NEXT, "ptrace"));
    static char szState[65536];
    iovec whole = {szState, sizeof szState};

    if (iRequest != PTRACE_SETREGSET || uiAddress != NT_X86_XSTATE)
        return next(iRequest, iPid, uiAddress, pPart);
    next(PTRACE_GETREGSET, iPid, uiAddress, &whole);
    memcpy(szState, pPart->iov_base, pPart->iov_len);
    return next(iRequest, iPid, uiAddress, &whole);
}

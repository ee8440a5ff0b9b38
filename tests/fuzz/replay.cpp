// Replays inputs without a fuzzer: each argument is a file that is given to the target once.
#include <stdio.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* cpData, size_t uiSize);

int main(int argc, char** argv)
{
    static unsigned char cInput[1 << 20];
    for (int i = 1; i < argc; i++) {
        fprintf(stderr, "== %s\n", argv[i]);
        if (freopen(argv[i], "rb", stdin) == nullptr)
            return 1;
        LLVMFuzzerTestOneInput(cInput, fread(cInput, 1, sizeof(cInput), stdin));
    }
    return argc < 2;
}

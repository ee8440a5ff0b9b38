// mvk drives tape libraries and tape drives through the generic SCSI driver.
#include "mvk.h"

int main(int argc, char** argv)
{
    return iMvkMain(argc, argv);
}

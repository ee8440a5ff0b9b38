// What the unit tests share: a configured product in a folder of the test's own, and a system that
// answers the same every time: process 4711, child of 4710, on 2001-02-03 at 09:05:07 in Berlin.
#pragma once

#include <gtest/gtest.h>
#include <string>

// A test whose current folder holds kq.ini and the directories named there: ini, lgc, work, glbv.
// The product's files below /etc lie in the folder itself, and the list of processes is its file
// "ps".
class Product : public testing::Test {
protected:
    Product();
    ~Product() override;
};

// The same for a test that runs over the rows of a table; a row begins with its name.
template <class ROW> class Table : public Product, public testing::WithParamInterface<ROW> {
};
inline const auto cpRowName = [](const auto& Info) { return Info.param.cpName; };

std::string szRead(const std::string& szFile);
void vWrite(const std::string& szFile, const std::string& szText);

// What the system does; a test begins with the values in parentheses.
// What getpid answers, 0 for the truth, and getppid one less (4711).
inline int giPid;
// Whether popen, localtime and calloc fail (false).
inline bool gbNoPipe;
inline bool gbNoDate;
inline bool gbNoMemory;
// The address word that ioctl gives; it fails with 0 (0).
inline unsigned int guiAddress;

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

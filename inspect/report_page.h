// The page of velainspect report, in two parts between which its data stands. The build makes them
// of the files in report_page/.
#pragma once
#include <cstddef>

namespace inspect {

extern const unsigned char kPageBeforeData[];
extern const size_t kPageBeforeDataBytes;
extern const unsigned char kPageAfterData[];
extern const size_t kPageAfterDataBytes;

}  // namespace inspect

// The functions of the device's system library (coredll.dll) that the probe calls. Debian's ARM
// compiler brings no header of that system, so they are declared here.
#pragma once
#include <cstdint>

extern "C" {

void* CreateFileW(const char16_t* name, uint32_t access, uint32_t sharing, void* security,
                  uint32_t disposition, uint32_t attributes, void* like);
int32_t ReadFile(void* file, void* buffer, uint32_t count, uint32_t* done, void* overlapped);
int32_t WriteFile(void* file, const void* buffer, uint32_t count, uint32_t* done, void* overlapped);
/// @param high  in and out: the upper word of the distance and of the place
/// @return the lower word of the place; kSeekFailed may be one, or a failure
uint32_t SetFilePointer(void* file, int32_t low, int32_t* high, uint32_t from);
uint32_t GetFileSize(void* file, uint32_t* high);
int32_t CloseHandle(void* file);
void* LoadLibraryW(const char16_t* name);
void* GetProcAddressW(void* library, const char16_t* name);
int32_t FreeLibrary(void* library);
/// Milliseconds since the device was started.
uint32_t GetTickCount();
/// Ends the calling thread, and with the first thread the program.
[[noreturn]] void ExitThread(uint32_t code);

}  // extern "C"

inline void* const kNoFile = reinterpret_cast<void*>(~uintptr_t{0});
inline constexpr uint32_t kReadAccess = 0x80000000;
inline constexpr uint32_t kWriteAccess = 0x40000000;
inline constexpr uint32_t kShareReading = 1;
inline constexpr uint32_t kOnlyNew = 1;       // fails when the file is there
inline constexpr uint32_t kOnlyExisting = 3;  // fails when it is not
inline constexpr uint32_t kFromStart = 0;

// Where the kernel keeps the priorities that the library reads and sets.
#ifndef FRAME_PROCESS_PRIORITY_H_
#define FRAME_PROCESS_PRIORITY_H_

namespace frame {

inline constexpr char kOomScoreAdjFile[] = "/proc/self/oom_score_adj";
inline constexpr char kOomAdjFile[] = "/proc/self/oom_adj";  // kernels before 2.6.36

// The "who" of the ioprio_get and ioprio_set system calls, which libc does not wrap: a process.
inline constexpr int kIoPriorityOfProcess = 1;
inline constexpr int kIoPriorityClassShift = 13;

}  // namespace frame

#endif  // FRAME_PROCESS_PRIORITY_H_

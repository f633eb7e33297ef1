#ifndef VEL_CHANNELS_COUNTEDPOOLTASK_H_
#define VEL_CHANNELS_COUNTEDPOOLTASK_H_

#include "channels/ActiveTaskCounter.h"
#include "sync/VelTask.h"

namespace vel {

// A self-deleting task that is counted from its making to its end, queued or
// not. One whose start() failed stays counted until its maker deletes it.
class CountedPoolTask : public SelfDeletingTask {
 public:
  // `counter` isn't owned and outlives the task.
  explicit CountedPoolTask(ActiveTaskCounter* counter);
  ~CountedPoolTask() override;

 private:
  ActiveTaskCounter* const _counter;
};

}  // namespace vel

#endif  // VEL_CHANNELS_COUNTEDPOOLTASK_H_

#include "channels/CountedPoolTask.h"

namespace vel {

CountedPoolTask::CountedPoolTask(ActiveTaskCounter* counter)
    : _counter(counter) {
  _counter->Enter();
}

CountedPoolTask::~CountedPoolTask() {
  _counter->Leave();
}

}  // namespace vel

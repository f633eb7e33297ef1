// The job that a process runs in, and its limits.
#ifndef VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_
#define VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_

#include <windows.h>

#include "SessionView/Facts.h"

namespace sessionview {

// Whether this process is in a job, and what is known of that job.
Facts own_job_facts();

// The limits and the number of processes of `job`, which needs
// JOB_OBJECT_QUERY; null for the job of this process.
Facts job_facts(HANDLE job);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_

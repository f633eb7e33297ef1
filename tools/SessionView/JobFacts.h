// The job that a process runs in, and its limits.
#ifndef VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_
#define VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_

#include <windows.h>

#include <string>
#include <vector>

#include "SessionView/Facts.h"

namespace sessionview {

// Whether this process is in a job, and what is known of that job.
Facts own_job_facts();

// The limits and the number of processes of `job`, which needs
// JOB_OBJECT_QUERY; null for the job of this process.
Facts job_facts(HANDLE job);

// The limits by the system's names, with their numbers where they have any;
// "none" without a limit. What has no name is told as a hexadecimal number.
std::vector<std::wstring> limit_names(
    const JOBOBJECT_EXTENDED_LIMIT_INFORMATION& limits);
std::vector<std::wstring> ui_limit_names(DWORD flags);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_JOBFACTS_H_

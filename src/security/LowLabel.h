// The low-integrity label, for objects that low-integrity processes may write.
#ifndef VEL_SECURITY_LOWLABEL_H_
#define VEL_SECURITY_LOWLABEL_H_

#include <windows.h>

#include <accctrl.h>

namespace vel {

// A self-relative descriptor that has the label as its SACL and nothing else.
// Constant data of the program: for reading alone. Null on systems before
// version 6, which know no labels.
PSECURITY_DESCRIPTOR GetLowLabelDescriptor();

// Puts the label on an object; a failure leaves it as it was, without a word.
// Does nothing where there are no labels. `object_type` is SE_KERNEL_OBJECT, or
// SE_WINDOW_OBJECT for a desktop; `handle` needs WRITE_OWNER.
void SetLowLabel(SE_OBJECT_TYPE object_type, HANDLE handle);

}  // namespace vel

#endif  // VEL_SECURITY_LOWLABEL_H_

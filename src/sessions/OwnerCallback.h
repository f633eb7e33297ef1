#ifndef VEL_SESSIONS_OWNERCALLBACK_H_
#define VEL_SESSIONS_OWNERCALLBACK_H_

namespace vel {

// What the plug-in host tells the one who runs the tray. Implemented by the
// process's entry; outlives the tray.
class OwnerCallback {
 public:
  virtual ~OwnerCallback() = default;
  // A broadcast "ui_settings_changed" has passed all plug-ins. On the thread of
  // the broadcast, several at the same time perhaps.
  virtual void on_settings_changed() = 0;
};

}  // namespace vel

#endif  // VEL_SESSIONS_OWNERCALLBACK_H_

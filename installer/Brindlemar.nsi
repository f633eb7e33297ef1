; The installer: per machine, 64-bit. /S installs or removes in silence, /D=
; names another folder.
;
; Exit codes, of both directions: 0 done, 1 given up by the user, 2 nothing was
; changed, since a running tray refused to end or Windows is too old.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestSupportedOS all

!include LogicLib.nsh
!include x64.nsh
!include WinVer.nsh

!define PRODUCT "Brindlemar"
!define PROGRAM "Brindlemar.exe"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define REMOVE_KEY \
  "Software\Microsoft\Windows\CurrentVersion\Uninstall\${UNINSTALL_KEY}"
!define PRODUCT_KEY "Software\Tessavane\VEL"
!define LINK "$SMPROGRAMS\${PRODUCT}.lnk"
; As long as the product takes to end: its sessions close first.
!define RELEASE_POLLS 60
!define RELEASE_POLL 500 ; ms
!define EXIT_REFUSED 2

Name "${PRODUCT}"
OutFile "${OUTPUT}"
Icon "${ICON}"
UninstallIcon "${ICON}"
InstallDir "$PROGRAMFILES64\${PRODUCT}"
InstallDirRegKey HKLM "${REMOVE_KEY}" "InstallLocation"
VIProductVersion "${VERSION}"
VIAddVersionKey "ProductName" "${PRODUCT}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "${PRODUCT} installer"
VIAddVersionKey "LegalCopyright" "${PRODUCT}"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; Waits until nothing runs out of the folder any more; sets the error flag when
; something still does.
!macro WaitForRelease
  StrCpy $1 0
  ${Do}
    ClearErrors
    ${IfNot} ${FileExists} "$INSTDIR\${PROGRAM}"
      ${ExitDo}
    ${EndIf}
    FileOpen $2 "$INSTDIR\${PROGRAM}" a
    ${IfNot} ${Errors}
      FileClose $2
      ${ExitDo}
    ${EndIf}
    IntOp $1 $1 + 1
    Sleep ${RELEASE_POLL}
  ${LoopUntil} $1 >= ${RELEASE_POLLS}
!macroend

!macro GiveUp
  SetErrorLevel ${EXIT_REFUSED}
  MessageBox MB_OK|MB_ICONEXCLAMATION \
    "${PRODUCT} is still running and can't be closed now. Nothing was changed." \
    /SD IDOK
  Quit
!macroend

Function .onInit
  ${IfNot} ${RunningX64}
  ${OrIfNot} ${AtLeastWin7}
    MessageBox MB_OK|MB_ICONSTOP \
      "${PRODUCT} needs a 64-bit Windows 7 or later." /SD IDOK
    Abort
  ${EndIf}
  SetShellVarContext all
FunctionEnd

Function un.onInit
  SetShellVarContext all
FunctionEnd

Section
  ; An older copy ends first: its tray, which may refuse, then its service,
  ; whose files are replaced.
  ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
    ExecWait '"$INSTDIR\${PROGRAM}" /start_mode="shutdown"'
    !insertmacro WaitForRelease
    ${If} ${Errors}
      !insertmacro GiveUp
    ${EndIf}
    nsExec::Exec '"$SYSDIR\net.exe" stop VelSvc'
    Pop $0
    nsExec::Exec '"$SYSDIR\net.exe" stop VELKL'
    Pop $0
  ${EndIf}

  !include "${LISTS}/install-files.nsh"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\Uninstall.exe"

  WriteRegStr HKLM "${PRODUCT_KEY}" "InstallPath" "$INSTDIR"
  WriteRegStr HKLM "${RUN_KEY}" "${PRODUCT}" \
    '"$INSTDIR\${PROGRAM}" /start_mode="auto"'
  WriteRegStr HKLM "${REMOVE_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKLM "${REMOVE_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${REMOVE_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
  WriteRegStr HKLM "${REMOVE_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${REMOVE_KEY}" "UninstallString" \
    '"$INSTDIR\Uninstall.exe"'
  WriteRegStr HKLM "${REMOVE_KEY}" "QuietUninstallString" \
    '"$INSTDIR\Uninstall.exe" /S'
  WriteRegDWORD HKLM "${REMOVE_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${REMOVE_KEY}" "NoRepair" 1
  CreateShortCut "${LINK}" "$INSTDIR\${PROGRAM}"

  ; 2 says that the restricted group couldn't be made; all else is done then.
  ExecWait '"$INSTDIR\${PROGRAM}" /velinst="[install]"' $0
  DetailPrint "Setting up the service: $0"
  ; No file was in use, so no reboot is needed.
  ExecWait '"$INSTDIR\${PROGRAM}" /velinst="[noreboot]"'
  ${IfNot} ${Silent}
    ; The service starts the tray without the installer's rights.
    Exec '"$INSTDIR\${PROGRAM}" /start_mode="after_install"'
  ${EndIf}
SectionEnd

Section Uninstall
  ExecWait '"$INSTDIR\${PROGRAM}" /velinst="[uninstall]"' $0
  ${If} $0 == ${EXIT_REFUSED}
    !insertmacro GiveUp
  ${EndIf}
  DetailPrint "Removal steps: $0"
  !insertmacro WaitForRelease

  !include "${LISTS}/uninstall-files.nsh"
  Delete "$INSTDIR\Uninstall.exe"
  RMDir "$INSTDIR"
  Delete "${LINK}"
  DeleteRegValue HKLM "${RUN_KEY}" "${PRODUCT}"
  DeleteRegKey HKLM "${REMOVE_KEY}"
  DeleteRegKey HKLM "${PRODUCT_KEY}"
  DeleteRegKey /ifempty HKLM "Software\Tessavane"

  ; What the program made for the user who removes it. The folder of shared
  ; files goes only when it is empty.
  SetShellVarContext current
  DeleteRegKey HKCU "${PRODUCT_KEY}"
  DeleteRegKey /ifempty HKCU "Software\Tessavane"
  DeleteRegKey HKCU "Software\AppDataLow\VELVolatile"
  DeleteRegKey /ifempty HKCU "Software\AppDataLow"
  RMDir /r "$APPDATA\Tessavane\VEL"
  RMDir "$APPDATA\Tessavane"
  RMDir "$DOCUMENTS\${PRODUCT} Shared Files"
  RMDir /r "$TEMP\VelTmp"
  Delete "$TEMP\vel_acc_*"
SectionEnd

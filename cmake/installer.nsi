; The installer for Windows: makensis -DVERSION= -DSTAGE= -DOUTPUT= installer.nsi
; It takes /S (silent) and /D=FOLDER. What it adds is the folder, the registered component, an entry
; among the installed programs and the folder of scanhost on the path; its uninstaller takes all out.
Unicode true
Target amd64-unicode
Name "scantk ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\scantk"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\scantk"
!define ENVIRONMENT "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"

; Opens the machine's path: key in $1, its type in $2, the text in a buffer at $4. The text may be
; longer than the installer's own variables hold.
!macro OpenPath
  System::Call 'advapi32::RegOpenKeyExW(p 0x80000002, w "${ENVIRONMENT}", i 0, i 0x20006|0x20019, *p .r1) i .r0'
  System::Call 'advapi32::RegQueryValueExW(p r1, w "Path", p 0, *i .r2, p 0, *i .r3) i .r0'
  IntOp $5 $3 + 2200
  System::Alloc $5
  Pop $4
  System::Call 'advapi32::RegQueryValueExW(p r1, w "Path", p 0, *i .r2, p r4, *i r5) i .r0'
!macroend
!macro WritePath
  System::Call 'kernel32::lstrlenW(p r4) i .r5'
  IntOp $5 $5 + 1
  IntOp $5 $5 * 2
  System::Call 'advapi32::RegSetValueExW(p r1, w "Path", i 0, i r2, p r4, i r5) i .r0'
!macroend
!macro ClosePath
  System::Call 'advapi32::RegCloseKey(p r1)'
  System::Free $4
  SendMessage 0xFFFF 0x1A 0 "STR:Environment" /TIMEOUT=2000
!macroend

Section
  SetOutPath "$INSTDIR"
  File /r "${STAGE}/*"
  ExecWait 'regsvr32 /s "$INSTDIR\bin\scantk1.dll"' $0
  StrCmp $0 0 registered
  SetErrorLevel 3
  Abort "The component could not be registered (regsvr32: $0)."
registered:
  WriteUninstaller "$INSTDIR\uninstall.exe"
  SetRegView 64
  WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "scantk"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
  !insertmacro OpenPath
  StrCmp $0 0 0 unknown
  System::Call 'shlwapi::StrStrIW(p r4, w ";$INSTDIR\bin") p .r6'
  StrCmp $6 0 0 unknown
  System::Call 'kernel32::lstrcatW(p r4, w ";$INSTDIR\bin")'
  !insertmacro WritePath
unknown:
  !insertmacro ClosePath
SectionEnd

Section "Uninstall"
  SetRegView 64
  ExecWait 'regsvr32 /s /u "$INSTDIR\bin\scantk1.dll"'
  !insertmacro OpenPath
  StrCmp $0 0 0 unknown
  System::Call 'shlwapi::StrStrIW(p r4, w ";$INSTDIR\bin") p .r6'
  StrCmp $6 0 unknown
  StrLen $7 ";$INSTDIR\bin"
  IntOp $7 $7 * 2
  IntPtrOp $7 $6 + $7
  System::Call 'kernel32::lstrlenW(p r7) i .r8'
  IntOp $8 $8 + 1
  IntOp $8 $8 * 2
  System::Call 'kernel32::RtlMoveMemory(p r6, p r7, p r8)'
  !insertmacro WritePath
unknown:
  !insertmacro ClosePath
  DeleteRegKey HKLM "${UNINSTALL}"
  ; What else lies in the folder is not ours.
  RMDir /r "$INSTDIR\bin"
  RMDir /r "$INSTDIR\include"
  RMDir /r "$INSTDIR\lib"
  RMDir /r "$INSTDIR\share"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
SectionEnd

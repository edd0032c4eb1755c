; The installer: for the current user, without a question that needs an administrator. Silent with
; /S, into another folder with /D=FOLDER as its last argument.
;
; Given: VERSION, STAGE (the folder with what is installed), OUTPUT, CONTENTS (generated files in
; this folder: install.nsh puts every file in its place, uninstall.nsh takes exactly those away;
; install_service.nsh and uninstall_service.nsh the same for the local service's folder).

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
; The same files give the same installer, whenever they were made.
SetDateSave off
; A file that cannot be written is an end, and not a part that is left out.
AllowSkipFiles off
ManifestSupportedOS all
ManifestDPIAware true
RequestExecutionLevel user

!include "MUI2.nsh"
!include "LogicLib.nsh"

!define PRODUCT "Vellumix File Repair"
!define PROGRAM "Vellumix.exe"
!define SERVICE "RepairService\bin\x64\RepairService.exe"
!define TOOL "RepairService\lib\x64\ffmpeg.exe"
; Stands in the folder of the local service, and in no other's that somebody has put there.
!define SERVICE_MARK "RepairService\LOCAL-SERVICE.txt"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Vellumix"

Name "${PRODUCT}"
OutFile "${OUTPUT}"
BrandingText "${PRODUCT} ${VERSION}"
InstallDir "$LOCALAPPDATA\Programs\Vellumix"
; An upgrade goes where the program is.
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${PRODUCT}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "Installs ${PRODUCT}"
VIAddVersionKey "CompanyName" "Vellumix"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ICON "${STAGE}/app_icon.ico"
!define MUI_UNICON "${STAGE}/app_icon.ico"
!define MUI_FINISHPAGE_RUN "$INSTDIR\${PROGRAM}"
!define MUI_FINISHPAGE_NOREBOOTSUPPORT
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; A program that runs keeps its file: whoever finds it so stops before anything is changed.
!macro RequireFileClosed FILE
    ${If} ${FileExists} "$INSTDIR\${FILE}"
        ClearErrors
        FileOpen $0 "$INSTDIR\${FILE}" a
        ${If} ${Errors}
            MessageBox MB_OK|MB_ICONEXCLAMATION \
                "${PRODUCT} is running (${FILE}). Close it, and start this again." /SD IDOK
            SetErrorLevel 3
            Abort
        ${EndIf}
        FileClose $0
    ${EndIf}
!macroend
!macro RequireClosed un
Function ${un}RequireClosed
    !insertmacro RequireFileClosed "${PROGRAM}"
    !insertmacro RequireFileClosed "${SERVICE}"
    !insertmacro RequireFileClosed "${TOOL}"
FunctionEnd
!macroend
!insertmacro RequireClosed ""
!insertmacro RequireClosed "un."

; What an earlier version had and this one has not goes as well, wherever it was installed.
Function RemoveEarlierVersion
    ReadRegStr $R0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $R0 == ""
    ${OrIfNot} ${FileExists} "$R0\Uninstall.exe"
        Return
    ${EndIf}
    ; With its folder named it works where it stands, and is waited for.
    ExecWait '"$R0\Uninstall.exe" /S _?=$R0' $R1
    ${If} $R1 <> 0
        MessageBox MB_OK|MB_ICONEXCLAMATION \
            "The earlier version in $R0 could not be replaced." /SD IDOK
        SetErrorLevel $R1
        Abort
    ${EndIf}
    Delete "$R0\Uninstall.exe"
    RMDir "$R0"
FunctionEnd

Section
    Call RequireClosed
    Call RemoveEarlierVersion
    SetOverwrite on
    !include "${CONTENTS}/install.nsh"
    ; Another maker's service, in the place of the local one, stays as it is.
    ${IfNot} ${FileExists} "$INSTDIR\${SERVICE}"
    ${OrIf} ${FileExists} "$INSTDIR\${SERVICE_MARK}"
        !include "${CONTENTS}/install_service.nsh"
    ${EndIf}
    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\Uninstall.exe"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}.lnk" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${PRODUCT}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "Publisher" "Vellumix"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "EstimatedSize" "${SIZE_KIB}"
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

; Exactly what was installed, and the logs that the programs write. What else stands in the folders
; is the user's, and so is a configuration that differs from the one that came.
Section "un.Uninstall"
    Call un.RequireClosed
    ${If} ${FileExists} "$INSTDIR\${SERVICE_MARK}"
        Call un.RemoveOwnConfiguration
        !include "${CONTENTS}/uninstall_service.nsh"
    ${EndIf}
    !include "${CONTENTS}/uninstall.nsh"
    Delete "$SMPROGRAMS\${PRODUCT}.lnk"
    Delete "$INSTDIR\Uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKCU "${UNINSTALL_KEY}"
SectionEnd

; The client copies the configuration to the service's folder, where people may change it.
Function un.RemoveOwnConfiguration
    FileOpen $0 "$INSTDIR\RepairService\KeshRepairConfig.dat" r
    FileOpen $1 "$INSTDIR\RepairService\config\KeshRepairConfig.dat" r
    StrCpy $2 "same"
    ${Do}
        ClearErrors
        FileRead $0 $3
        ${If} ${Errors}
            StrCpy $3 ""
        ${EndIf}
        FileRead $1 $4
        ${If} ${Errors}
            StrCpy $4 ""
        ${EndIf}
        ${If} $3 S!= $4
            StrCpy $2 "different"
        ${EndIf}
    ${LoopUntil} "$3$4" == ""
    FileClose $0
    FileClose $1
    ${If} $2 == "same"
        Delete "$INSTDIR\RepairService\KeshRepairConfig.dat"
    ${EndIf}
FunctionEnd

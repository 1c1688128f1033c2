; Installs for every user of the machine. Silent with /S; the folder can be
; given with /D=. Built by scripts/windows, which passes VERSION, STAGE, OUTPUT
; and ICON.

Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
ManifestSupportedOS all
RequestExecutionLevel admin

!include MUI2.nsh
!include x64.nsh
!include FileFunc.nsh
!include LogicLib.nsh

!define PRODUCT "Tolvane Modem Connector"
!define PROGRAM "TolvaneDialler.exe"
!define MAKER "Brantiq Developer Network"
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\${PRODUCT}"

Name "${PRODUCT}"
Caption "${PRODUCT} Setup"
UninstallCaption "${PRODUCT} Uninstall"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${PRODUCT}"
InstallDirRegKey HKLM "${UNINSTALL}" "InstallLocation"
BrandingText "${PRODUCT} ${VERSION}"
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${PRODUCT}"
VIAddVersionKey "CompanyName" "${MAKER}"
VIAddVersionKey "FileDescription" "${PRODUCT} installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "GNU General Public License, version 3 or later"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!define MUI_FINISHPAGE_RUN "$INSTDIR\${PROGRAM}"
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\QuickStart.txt"
!define MUI_FINISHPAGE_SHOWREADME_NOTCHECKED
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Windows does not replace a file that runs: better said before than found out
; half-way.
!macro NeedProgramClosed
    ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
        ClearErrors
        FileOpen $0 "$INSTDIR\${PROGRAM}" a
        ${If} ${Errors}
            MessageBox MB_OK|MB_ICONEXCLAMATION "${PRODUCT} is running, or its folder cannot be changed. Close it and start again." /SD IDOK
            SetErrorLevel 2
            Quit
        ${EndIf}
        FileClose $0
    ${EndIf}
!macroend

; The files that an installation owns, and nothing else: drivers and presets
; that were added to the folders are not the installer's to delete.
!macro DeleteInstalledFiles
    Delete "$INSTDIR\${PROGRAM}"
    Delete "$INSTDIR\48x48.ico"
    Delete "$INSTDIR\QuickStart.txt"
    Delete "$INSTDIR\Notices.txt"
    Delete "$INSTDIR\drivers\ReadMe.txt"
    Delete "$INSTDIR\settings\ReadMe.txt"
    RMDir /r "$INSTDIR\licences"
!macroend

Function .onInit
    ${IfNot} ${RunningX64}
        MessageBox MB_OK|MB_ICONSTOP "${PRODUCT} needs a 64-bit Windows." /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
    SetRegView 64
    SetShellVarContext all
FunctionEnd

Section
    !insertmacro NeedProgramClosed
    ; What an older version had and this one has no more goes away.
    !insertmacro DeleteInstalledFiles
    SetOutPath "$INSTDIR"
    File /r "${STAGE}\*"

    CreateDirectory "$SMPROGRAMS\${PRODUCT}"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\${PRODUCT}.lnk" "$INSTDIR\${PROGRAM}"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\Quick Start.lnk" "$INSTDIR\QuickStart.txt"

    WriteUninstaller "$INSTDIR\Uninstall.exe"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "${PRODUCT}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKLM "${UNINSTALL}" "Publisher" "${MAKER}"
    WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    IntFmt $0 "0x%08X" $0
    WriteRegDWORD HKLM "${UNINSTALL}" "EstimatedSize" "$0"
SectionEnd

Function un.onInit
    SetRegView 64
    SetShellVarContext all
FunctionEnd

Section "Uninstall"
    !insertmacro NeedProgramClosed
    !insertmacro DeleteInstalledFiles
    Delete "$INSTDIR\Uninstall.exe"
    ; Only when empty: what was added stays.
    RMDir "$INSTDIR\drivers"
    RMDir "$INSTDIR\settings"
    RMDir "$INSTDIR"
    Delete "$SMPROGRAMS\${PRODUCT}\${PRODUCT}.lnk"
    Delete "$SMPROGRAMS\${PRODUCT}\Quick Start.lnk"
    RMDir "$SMPROGRAMS\${PRODUCT}"
    DeleteRegKey HKLM "${UNINSTALL}"

    ; Silent, they are kept unless /REMOVESETTINGS is given.
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/REMOVESETTINGS" $1
    ${If} ${Errors}
        MessageBox MB_YESNO|MB_ICONQUESTION "Keep your settings (operator, port and connection names)?" /SD IDYES IDYES keep
    ${EndIf}
    SetShellVarContext current
    Delete "$APPDATA\${MAKER}\${PRODUCT}.ini"
    RMDir "$APPDATA\${MAKER}"
keep:
SectionEnd

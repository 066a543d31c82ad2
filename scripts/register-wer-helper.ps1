<#
.SYNOPSIS
Lets Windows Error Reporting load WrenfallWer.dll, or takes that back.

.DESCRIPTION
Windows loads a helper module only when an allow-list names it, the machine's or the user's: a REG_DWORD value 0 whose
name is the full path of the DLL, exactly as it lies beside Wrenfall.dll. An installer does this once for each folder
that holds the DLL, and takes it back when it removes the folder. The machine's list needs administrator rights. The
user's does not, and is for installations of one user; the library's capability and log line tell of the machine's list
alone.

.PARAMETER Path
The DLL. With -Remove it need not exist any more.

.PARAMETER CurrentUser
The list of the user who runs this, instead of the machine's.

.PARAMETER Remove
Takes the DLL from the list. It is no error when it is not there.

.EXAMPLE
.\register-wer-helper.ps1 -Path "C:\Program Files\My Application\WrenfallWer.dll"

.EXAMPLE
.\register-wer-helper.ps1 -Path "C:\Program Files\My Application\WrenfallWer.dll" -Remove

.EXAMPLE
.\register-wer-helper.ps1 -Path "$env:LOCALAPPDATA\My Application\WrenfallWer.dll" -CurrentUser
#>
[CmdletBinding()]
param(
  [Parameter(Mandatory = $true)] [string] $Path,
  [switch] $CurrentUser,
  [switch] $Remove
)
$ErrorActionPreference = 'Stop'

if (-not $CurrentUser) {
  $identity = [Security.Principal.WindowsIdentity]::GetCurrent()
  $principal = New-Object Security.Principal.WindowsPrincipal($identity)
  if (-not $principal.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
    throw 'The allow-list belongs to the machine: run this as an administrator, or with -CurrentUser.'
  }
}

# PowerShell's current folder, which is not the process's.
$module = $ExecutionContext.SessionState.Path.GetUnresolvedProviderPathFromPSPath($Path)
if (-not $Remove -and -not (Test-Path -LiteralPath $module -PathType Leaf)) {
  throw "There is no file $module."
}

# The 64-bit registry, whichever PowerShell this is. The .NET calls take the path as it is; the registry provider's
# cmdlets would read wildcards into it.
$name = 'SOFTWARE\Microsoft\Windows\Windows Error Reporting\RuntimeExceptionHelperModules'
$hive = if ($CurrentUser) { 'CurrentUser' } else { 'LocalMachine' }
$root = [Microsoft.Win32.RegistryKey]::OpenBaseKey($hive, 'Registry64')
try {
  if ($Remove) {
    $key = $root.OpenSubKey($name, $true)
    if ($key) {
      $key.DeleteValue($module, $false)
      $key.Dispose()
    }
    Write-Output "Removed $module"
  } else {
    $key = $root.CreateSubKey($name)
    $key.SetValue($module, 0, [Microsoft.Win32.RegistryValueKind]::DWord)
    $key.Dispose()
    Write-Output "Registered $module"
  }
} finally {
  $root.Dispose()
}

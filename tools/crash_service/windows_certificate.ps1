<#
.SYNOPSIS
Makes a certificate for the local crash service and lets your programs trust it, or takes that back.

.DESCRIPTION
The service speaks HTTPS, so the programs that send to it must trust its certificate. This makes one for 127.0.0.1 that
is valid for a year, writes it with its key where crash_service.py looks for it, and adds it to your own trusted
certificates. Windows asks you to confirm that. No administrator rights are needed; other users do not trust it.

The certificate can only vouch for a server at 127.0.0.1. Take it back with -Remove when you are done.

.PARAMETER Python
What runs Python 3, for example the path of a python.exe. Without it the launcher `py` is used, else `python`.

.PARAMETER Remove
Takes the certificate out of your trusted ones, which Windows asks you to confirm, and deletes it with its key.

.EXAMPLE
.\windows_certificate.ps1

.EXAMPLE
.\windows_certificate.ps1 -Remove
#>
[CmdletBinding()]
param(
  [string] $Python,
  [switch] $Remove
)
$ErrorActionPreference = 'Stop'

$subject = 'CN=Wrenfall crash service on 127.0.0.1'
# crash_service.py looks here.
$file = Join-Path $env:LOCALAPPDATA 'WrenfallCrashService\certificate.pem'

# A store of the current user's certificates, to be closed by the caller. Root has the trusted ones.
function Open-Store([string] $Name) {
  $store = New-Object Security.Cryptography.X509Certificates.X509Store($Name, 'CurrentUser')
  $store.Open('ReadWrite')
  return $store
}

function Remove-Certificates {
  # New-SelfSignedCertificate leaves a copy among the intermediate authorities, CA.
  foreach ($name in 'Root', 'CA') {
    $store = Open-Store $name
    try {
      foreach ($old in $store.Certificates.Find('FindBySubjectDistinguishedName', $subject, $false)) {
        $store.Remove($old)
      }
    } finally {
      $store.Close()
    }
  }
}

function Find-Python {
  if ($Python) { return @($Python) }
  if (Get-Command py -ErrorAction SilentlyContinue) { return @('py', '-3') }
  if (Get-Command python -ErrorAction SilentlyContinue) { return @('python') }
  throw 'Python 3 was not found. Install it from python.org, or name it with -Python.'
}

if ($Remove) {
  Remove-Certificates
  if (Test-Path -LiteralPath $file) { Remove-Item -LiteralPath $file }
  Write-Output 'The certificate is no longer trusted, and its key is deleted.'
  return
}

$interpreter = @(Find-Python)
Remove-Certificates

# The provider is one whose keys can be exported to a file. The names are an IP address, which programs look for, and
# the same as a DNS name, which Wine looks for; the purpose is that of a server.
$made = New-SelfSignedCertificate -Type Custom -Subject $subject -CertStoreLocation 'Cert:\CurrentUser\My' `
  -Provider 'Microsoft Enhanced RSA and AES Cryptographic Provider' -KeySpec KeyExchange -KeyLength 2048 `
  -HashAlgorithm SHA256 -KeyExportPolicy Exportable -KeyUsage DigitalSignature, KeyEncipherment `
  -NotAfter (Get-Date).AddYears(1) -TextExtension @(
    '2.5.29.17={text}IPAddress=127.0.0.1&DNS=127.0.0.1', '2.5.29.37={text}1.3.6.1.5.5.7.3.1')
try {
  $key = [Security.Cryptography.X509Certificates.RSACertificateExtensions]::GetRSAPrivateKey($made)
  $parts = [Convert]::ToBase64String($made.RawData), $key.ToXmlString($true)
  New-Item -ItemType Directory -Force -Path (Split-Path $file) | Out-Null
  $command, $arguments = $interpreter
  $arguments = @($arguments) + @((Join-Path $PSScriptRoot 'windows_key.py'), $file) | Where-Object { $_ }
  $parts | & $command @arguments
  if ($LASTEXITCODE -ne 0) { throw "windows_key.py ended with $LASTEXITCODE." }
} finally {
  # The key stays in the file alone.
  Remove-Item -LiteralPath "Cert:\CurrentUser\My\$($made.Thumbprint)" -DeleteKey
}

# Without its key. Windows shows the certificate and asks.
$shown = New-Object Security.Cryptography.X509Certificates.X509Certificate2(, $made.RawData)
$store = Open-Store 'Root'
try {
  $store.Add($shown)
} finally {
  $store.Close()
}
Write-Output "The certificate is in $file, and your programs trust it until $($made.NotAfter.ToShortDateString())."

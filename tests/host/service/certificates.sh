#!/usr/bin/env bash
# certificates.sh DIRECTORY: the certificates that the tests of TCP use. An authority signs the
# daemon's, alice's and bob's; the stranger's is signed by itself.

set -euo pipefail
mkdir -p "$1"
cd "$1"

key() { openssl ecparam -name prime256v1 -genkey -noout -out "$1.key"; }

# signed NAME EXTENSION
signed() {
  key "$1"
  openssl req -new -key "$1.key" -subj "/CN=$1" -out "$1.csr"
  openssl x509 -req -in "$1.csr" -CA authority.pem -CAkey authority.key -CAcreateserial -days 3650 \
    -extfile <(printf '%s\n' "$2") -out "$1.pem" 2>/dev/null
}

key authority
openssl req -x509 -new -key authority.key -subj '/CN=test authority' -days 3650 -out authority.pem
signed daemon 'subjectAltName=DNS:nexthopd.test'
signed alice 'extendedKeyUsage=clientAuth'
signed bob 'extendedKeyUsage=clientAuth'
key stranger
openssl req -x509 -new -key stranger.key -subj '/CN=alice' -days 3650 -out stranger.pem

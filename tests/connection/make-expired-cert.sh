#!/bin/sh
# SPDX-License-Identifier: MIT
# make-expired-cert.sh DIR: a key and a self-signed certificate for
# "korvgui-expired" that ran out on 2 January 2020, made at build time so
# that no private key is kept in the repository.
set -e
dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$dir/ca"
cat > "$work/ca.cnf" <<CNF
[ca]
default_ca = expired
[expired]
dir = $work
database = $work/index.txt
serial = $work/serial
new_certs_dir = $work
default_md = sha256
policy = anything
[anything]
commonName = supplied
CNF
touch "$work/index.txt"
echo 01 > "$work/serial"
openssl req -newkey rsa:2048 -nodes -keyout "$dir/key.pem" -out "$work/req.csr" -subj /CN=korvgui-expired 2>/dev/null
openssl ca -batch -config "$work/ca.cnf" -selfsign -keyfile "$dir/key.pem" -in "$work/req.csr" \
    -out "$dir/cert.pem" -startdate 20200101000000Z -enddate 20200102000000Z -notext 2>/dev/null
cp "$dir/cert.pem" "$dir/ca/expired.pem"

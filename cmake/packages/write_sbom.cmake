# Writes a package's list of what is in it and what it needs (SPDX 2.3, JSON).
#   cmake -D OUTPUT=... -D NAME=... -D VERSION=... -D ARCHITECTURE=... -D PARTS=... -P write_sbom.cmake
# PARTS: a file of lines "name|version|licence|relation|file"; relation CONTAINS or DEPENDS_ON says what the package does
# with the part; file, where there is one, is what the package has of it.
# The time is SOURCE_DATE_EPOCH's where it is set, so that two builds write the same bytes. The document's namespace is
# its own: it has the package, its version and architecture, and the hash of all that the document says.

string(TIMESTAMP now "%Y-%m-%dT%H:%M:%SZ" UTC)
set(packages "")
set(relations "")
file(READ "${PARTS}" parts)
string(STRIP "${parts}" parts)
string(REPLACE "\n" ";" parts "${parts}")
foreach(part IN LISTS parts)
  string(REPLACE "|" ";" columns "${part}")
  list(GET columns 0 name)
  list(GET columns 1 version)
  list(GET columns 2 licence)
  list(GET columns 3 relation)
  list(LENGTH columns count)
  set(file "")
  if(count GREATER 4)
    list(GET columns 4 path)
    file(SHA256 "${path}" hash)
    cmake_path(GET path FILENAME file_name)
    set(file ",\n      \"packageFileName\": \"${file_name}\",\n      \"checksums\": [{\"algorithm\": \"SHA256\", \"checksumValue\": \"${hash}\"}]")
  endif()
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "-" id "${name}")
  string(APPEND packages ",
    {
      \"SPDXID\": \"SPDXRef-${id}\",
      \"name\": \"${name}\",
      \"versionInfo\": \"${version}\",
      \"downloadLocation\": \"NOASSERTION\",
      \"licenseConcluded\": \"${licence}\",
      \"licenseDeclared\": \"${licence}\",
      \"filesAnalyzed\": false,
      \"copyrightText\": \"NOASSERTION\"${file}
    }")
  string(APPEND relations ",
    {
      \"spdxElementId\": \"SPDXRef-package\",
      \"relationshipType\": \"${relation}\",
      \"relatedSpdxElement\": \"SPDXRef-${id}\"
    }")
endforeach()

set(name "${NAME}_${VERSION}_${ARCHITECTURE}")
string(SHA256 hash "${name} ${now} ${packages} ${relations}")
string(SUBSTRING "${hash}" 0 32 hash)
file(WRITE "${OUTPUT}" "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${name}\",
  \"documentNamespace\": \"https://ovix.example/sbom/${name}-${hash}\",
  \"creationInfo\": {
    \"created\": \"${now}\",
    \"creators\": [\"Organization: Ovix\"]
  },
  \"hasExtractedLicensingInfos\": [
    {\"licenseId\": \"LicenseRef-Ovix\", \"extractedText\": \"Copyright 2026 Ovix. All rights reserved.\"}
  ],
  \"packages\": [
    {
      \"SPDXID\": \"SPDXRef-package\",
      \"name\": \"${NAME}\",
      \"versionInfo\": \"${VERSION}\",
      \"supplier\": \"Organization: Ovix\",
      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"LicenseRef-Ovix\",
      \"licenseDeclared\": \"LicenseRef-Ovix\",
      \"copyrightText\": \"Copyright 2026 Ovix. All rights reserved.\"
    }${packages}
  ],
  \"relationships\": [
    {
      \"spdxElementId\": \"SPDXRef-DOCUMENT\",
      \"relationshipType\": \"DESCRIBES\",
      \"relatedSpdxElement\": \"SPDXRef-package\"
    }${relations}
  ]
}
")

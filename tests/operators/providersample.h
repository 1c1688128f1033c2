#pragma once

#include "operators/providertable.h"

#include <QBuffer>
#include <QByteArray>

// A list of providers with one of everything that the readers have to tell apart.

inline const QByteArray sampleXml = R"(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE serviceproviders SYSTEM "serviceproviders.2.dtd">
<serviceproviders format="2.0">
<country code="BR">
 <name>Brazil</name>
 <provider>
  <name>Mono</name>
  <gsm>
   <network-id mcc="724" mnc="05"/>
   <apn value="mono.br "><plan type="postpaid"/><name>Mono Internet</name>
    <username>mo</username><password>no</password><dns>192.0.2.1</dns></apn>
   <apn value="mms.mono.br"><usage type="mms"/></apn>
  </gsm>
 </provider>
</country>
<country code="de">
 <name xml:lang="de">Deutschland</name>
 <name>Germany</name>
 <provider primary="true">
  <name xml:lang="de">Zwölf</name>
  <name>Twelve  &amp;
   Co</name>
  <gsm>
   <balance-check><ussd>*100#</ussd></balance-check>
   <apn value="one.de"><plan type="postpaid"/><usage type="internet"/><name>Day</name></apn>
   <apn value="one.de"><plan type="prepaid"/><usage type="internet"/><name>Day</name></apn>
   <apn value="two.de"><plan type="prepaid"/><name>Night</name></apn>
   <apn value="three.de"><plan type="postpaid"/><name>Night</name><password>x</password></apn>
   <apn value="four.de"><name>twelve &amp; co XL</name></apn>
   <apn value="five.de"/>
   <apn value="wap.de"><usage type="wap"/><name>Pages</name></apn>
   <apn value="http://192.0.2.9"><usage type="internet"/></apn>
   <novelty><apn value="not.this"/></novelty>
  </gsm>
 </provider>
 <provider><name>Wire</name><cdma><sid value="1"/></cdma></provider>
 <provider><name>Pictures</name><gsm><apn value="mms"><usage type="mms"/></apn></gsm></provider>
</country>
<country code="at">
 <name>Austria</name>
 <provider><name>Mono</name><gsm><apn value="mono.at"/></gsm></provider>
</country>
</serviceproviders>
)";

inline ProviderTable readBytes(QByteArray bytes)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return readProviders(&buffer);
}

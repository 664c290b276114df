#include "tests/engine/answer_corpus.h"

std::string_view const engine_tests::bounces_in_short = R"mails(
== hard 5.1.1 550 Postfix: no such user
From: MAILER-DAEMON@mx.example.com (Mail Delivery System)
Subject: Undelivered Mail Returned to Sender

This is the mail system at host mx.example.com.

<{to}>: host mx.example.net[192.0.2.7] said: 550 5.1.1 <{to}>: Recipient address rejected: User unknown
--delivery-status
Action: failed
Status: 5.1.1
Diagnostic-Code: smtp; 550 5.1.1 <{to}>: Recipient address
    rejected: User unknown in virtual mailbox table
== hard 5.0.0 550 Postfix to docomo: no such user
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

This is the mail system at host mx.example.com.
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 Unknown user {to}
== blocked 5.0.0 550 Postfix to docomo: refused by the recipient's filter
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

<{to}>: host mx.example.net[192.0.2.7] said: 550 Unknown user {to}
    (in reply to end of DATA command)
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: x-postfix; host mx.example.net[192.0.2.7] said: 550 Unknown user {to} (in reply to end
    of DATA command)
== mailbox_full 5.0.0 552 Postfix to docomo: too much mail
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 552 Too much mail data {to}
== blocked 5.0.0 550 Postfix to au: refused by the recipient's filter
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: x-postfix; host lsean.example.com said: 550 <{to}>: User unknown (in reply to end of DATA command)
== hard 5.4.4 0 Postfix: no such domain
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.4.4
Diagnostic-Code: X-Postfix; Host or domain name not found. Name service error
    for name=example.invalid type=A: Host not found
== soft 4.4.1 0 Postfix: given up
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 4.4.1
Diagnostic-Code: X-Postfix; connect to mx.example.net[192.0.2.5]:25: Connection timed out
== content_refused 5.3.4 552 Postfix: too large
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.3.4
Diagnostic-Code: smtp; 552 5.3.4 Message size exceeds fixed limit
== blocked 5.7.1 554 Postfix: a blocklist
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.1
Diagnostic-Code: smtp; 554 5.7.1 Service unavailable; Client host [192.0.2.1] blocked using zen.example.org
== soft 4.7.1 450 Postfix: greylisted to the end
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 4.7.1
Diagnostic-Code: smtp; 450 4.7.1 <{to}>: Recipient address rejected: Greylisted, try again later
== soft 5.4.6 0 Postfix: a loop
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.4.6
Diagnostic-Code: X-Postfix; mail forwarding loop for {to}
== mailbox_full 5.2.2 0 Xserver: maildir over quota
From: MAILER-DAEMON@sv1.example.com (Mail Delivery System)
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.2.2
Diagnostic-Code: x-postfix; The user you are trying to reach is over quota
== hard 5.1.1 550 Sendmail: no such user
From: Mail Delivery Subsystem <MAILER-DAEMON@mx.example.com>
Subject: Returned mail: see transcript for details
Auto-Submitted: auto-generated (failure)

The original message was received at Mon, 23 Nov 2026 10:00:00 +0900

   ----- The following addresses had permanent fatal errors -----
<{to}>
    (reason: 550 5.1.1 <{to}>... User unknown)
--delivery-status
Action: failed
Status: 5.1.1
Remote-MTA: DNS; mx.example.net
Diagnostic-Code: SMTP; 550 5.1.1 <{to}>... User unknown
== hard 5.1.2 550 Sendmail: no such host
From: MAILER-DAEMON@mx.example.com
Subject: Returned mail: Host unknown (Name server: example.invalid: host not found)

550 <{to}>... Host unknown
--delivery-status
Action: failed
Status: 5.1.2
Diagnostic-Code: SMTP; 550 Host unknown
== hard - 550 Sendmail of old, without parts
From: Mail Delivery Subsystem <MAILER-DAEMON@mx.example.com>
Subject: Returned mail: User unknown

   ----- The following addresses had permanent fatal errors -----
<{to}>

   ----- Transcript of session follows -----
... while talking to mx.example.net.:
550 {to}... User unknown

   ----- Original message follows -----
Message-ID: <{id}>
Subject: over quota
== hard 5.1.1 0 qmail: no such mailbox
Return-Path: <>
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

Hi. This is the qmail-send program at mx.example.com.
I'm afraid I wasn't able to deliver your message to the following addresses.

<{to}>:
Sorry, no mailbox here by that name. (#5.1.1)

--- Below this line is a copy of the message.

Message-ID: <{id}>
== mailbox_full - 552 qmail: the other server's word
Return-Path: <>
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

Hi. This is the qmail-send program at mx.example.com.

<{to}>:
192.0.2.7 does not like recipient.
Remote host said: 552 Mailbox full
Giving up on 192.0.2.7.

--- Below this line is a copy of the message.

Message-ID: <{id}>
== soft 4.4.1 0 qmail: queued too long
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

Hi. This is the qmail-send program at mx.example.com.

<{to}>:
Sorry, I wasn't able to establish an SMTP connection. (#4.4.1)
I'm not going to try again; this message has been in the queue too long.

--- Below this line is a copy of the message.

Message-ID: <{id}>
== hard 5.1.2 0 qmail: no such host
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

<{to}>:
Sorry, I couldn't find any host named example.invalid. (#5.1.2)
== hard 5.1.1 550 Exim: refused
X-Failed-Recipients: {to}
Auto-Submitted: auto-replied
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Mail delivery failed: returning message to sender

This message was created automatically by mail delivery software.

  {to}
    host mx.example.net [192.0.2.7]
    SMTP error from remote mail server after RCPT TO:<{to}>:
    550 5.1.1 No such user here

------ This is a copy of the message, including all the headers. ------

Message-ID: <{id}>
== hard - 0 Exim: no route
X-Failed-Recipients: {to}
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Mail delivery failed: returning message to sender

  {to}
    Unrouteable address
== soft - 0 Exim: retry timeout
X-Failed-Recipients: {to}
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Mail delivery failed: returning message to sender

  {to}
    mx.example.net [192.0.2.7]: retry timeout exceeded
== mailbox_full 5.0.0 552 Exim with a report
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Mail delivery failed: returning message to sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 552 Quota exceeded (mailbox for user is full)
== blocked 5.0.0 550 Exim: called spam at the end of data
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Mail delivery failed: returning message to sender

SMTP error from remote mail server after end of data: 550 This message was classified as SPAM
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 This message was classified as SPAM and may not be delivered
== hard 5.1.1 550 Courier: no such user
From: "Courier mail server at mx.example.com" <@>
Subject: NOTICE: mail delivery status.

UNDELIVERABLE MAIL
<{to}>:
     Child process output: User unknown.
--delivery-status
Action: failed
Status: 5.1.1
Diagnostic-Code: unknown; 550 User unknown.
== hard 5.0.0 0 Domino: not in the directory
From: Postmaster@example.com
Subject: DELIVERY FAILURE: User n0 (n0@example.com) not listed in Domino Directory

Your message could not be delivered.
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: X-Notes; User n0 (n0@example.com) not listed in Domino Directory
== hard 5.0.0 0 Notes of old: not in the address book
From: Postmaster@example.com
Subject: DELIVERY FAILURE: User n0 not listed in public Name & Address Book

User n0 not listed in public Name & Address Book
--delivery-status
Action: failed
Status: 5.0.0
== hard 5.1.1 550 Exchange: not found
From: <postmaster@example.com>
Subject: Undeliverable: news
Return-Path: <>

Delivery has failed to these recipients or groups:
--delivery-status
Action: failed
Status: 5.1.1
Diagnostic-Code: smtp;550 5.1.1 RESOLVER.ADR.RecipNotFound; not found
X-Display-Name: n0
== hard 5.1.10 550 Exchange Online: not found
From: Microsoft Outlook <MicrosoftExchange329e71ec88ae4615bbc36ab6ce41109e@example.com>
Subject: =?utf-8?B?6YWN5L+h5LiN6IO9OiDnp4vjga7jgZTmoYjlhoU=?=

配信できませんでした
--delivery-status
Action: failed
Status: 5.1.10
Diagnostic-Code: smtp;550 5.1.10 RESOLVER.ADR.RecipientNotFound; Recipient {to} not found by SMTP address lookup
== hard 5.4.1 550 Exchange Online: not in its directory
From: postmaster@example.com
Subject: Undeliverable: news

x
--delivery-status
Action: failed
Status: 5.4.1
Diagnostic-Code: smtp;550 5.4.1 Recipient address rejected: Access denied. AS(201806281)
== mailbox_full 5.2.2 0 Exchange in Japanese
From: postmaster@example.com
Subject: =?iso-2022-jp?B?GyRCR1s/LklURz0bKEI=?= news

受信者のメールボックスがいっぱいで、今はメッセージを受け取ることができません。
--delivery-status
Action: failed
Status: 5.2.2
== hard 5.1.1 550 Exchange of old, without parts
From: System Administrator <postmaster@example.com>
Subject: Undeliverable: news

Your message

  To:      n0
  Subject: news
  Sent:    Mon, 23 Nov 2026 10:00:00 +0900

did not reach the following recipient(s):

{to} on Mon, 23 Nov 2026 10:00:02 +0900
    The e-mail account does not exist at the organization this message was sent to.
    <mx.example.com #5.1.1 smtp;550 5.1.1 <{to}>... User unknown>
== hard 5.5.0 550 Outlook.com: no such mailbox
From: postmaster@hotmail.example.com
Subject: Delivery Status Notification (Failure)

x
--delivery-status
Action: failed
Status: 5.5.0
Diagnostic-Code: smtp;550 Requested action not taken: mailbox unavailable (-2019901852:4030:-2147467259)
== blocked 5.7.1 550 Outlook.com: the network is on its list
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.1
Diagnostic-Code: smtp; 550 5.7.1 Unfortunately, messages from [192.0.2.1] weren't sent. Please contact
    your Internet service provider since part of their network is on our block list (S3140).
== hard 5.1.1 550 Gmail: no such account
From: Mail Delivery Subsystem <mailer-daemon@googlemail.example.com>
Subject: Delivery Status Notification (Failure)
Auto-Submitted: auto-replied

** Address not found **
--delivery-status
Action: failed
Status: 5.1.1
Diagnostic-Code: smtp; 550-5.1.1 The email account that you tried to reach does not exist. Please try
 550-5.1.1 double-checking the recipient's email address for typos
== mailbox_full 5.2.2 552 Gmail: out of storage
From: Mail Delivery Subsystem <mailer-daemon@googlemail.example.com>
Subject: Delivery Status Notification (Failure)

x
--delivery-status
Action: failed
Status: 5.2.2
Diagnostic-Code: smtp; 552 5.2.2 The recipient's inbox is out of storage space and inactive.
== hard 5.2.1 550 Gmail: disabled
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.2.1
Diagnostic-Code: smtp; 550 5.2.1 The email account that you tried to reach is disabled.
== soft 4.2.1 450 Gmail: too many mails, given up
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 4.2.1
Diagnostic-Code: smtp; 450-4.2.1 The user you are trying to contact is receiving mail at a rate that 450 4.2.1 prevents
== blocked 5.7.26 550 Gmail: no authentication
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.26
Diagnostic-Code: smtp; 550-5.7.26 Your email has been blocked because the sender is unauthenticated.
== hard - 554 Yahoo! JAPAN: no such account, without parts
From: MAILER-DAEMON@yahoo.example.co.jp
Subject: Delivery failure

Message from yahoo.co.jp.
Unable to deliver message to the following address(es).

<{to}>:
554 delivery error: dd This user doesn't have a yahoo.co.jp account ({to}) [-5]

--- Original message follows.
Message-ID: <{id}>
== blocked 5.7.9 554 Yahoo: policy
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.9
Diagnostic-Code: smtp; 554 5.7.9 Message not accepted for policy reasons. See https://postmaster.example.com/
== blocked 5.7.1 554 iCloud: local policy
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.1
Diagnostic-Code: smtp; 554 5.7.1 [HM08] Message rejected due to local policy.
== hard - 0 au: InterMail
From: Mail Administrator<Postmaster@ezweb.example.jp>
Subject: Mail System Error - Returned Mail

This Message was undeliverable due to the following reason:

Each of the following recipients was rejected by a remote mail server.
The reasons given by the server are included to help you determine why
each recipient was rejected.

    Recipient: <{to}>
    Reason:    <{to}>... User unknown

Please reply to <Postmaster@ezweb.example.jp>
if you feel this message to be in error.
== mailbox_full - 0 au: over its size
From: Mail Administrator<Postmaster@ezweb.example.jp>
Subject: Mail System Error - Returned Mail

The following recipients did not receive this message:

    <{to}>
    The user(s) account is temporarily over quota.
== hard 5.0.0 550 SoftBank: no such recipient
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 Invalid recipient: <{to}>
== mailbox_full - 552 Willcom: volume exceeded
From: MAILER-DAEMON@pdx.example.jp (Mail Delivery System)
Subject: Undelivered Mail Returned to Sender

This is the Postfix program at host mx.pdx.example.jp.

<{to}>: host 192.0.2.5[192.0.2.5] said: 552 We failed to
    deliver mail because the volume of recipient's mailbox exceeded the local
    limit. {to} (in reply to end of DATA command)
== hard - 550 nifty: no such user
From: MAILER-DAEMON@nifty.example.com
Subject: Returned mail: User unknown

<{to}>... 550 User Unknown
== mailbox_full - 0 BIGLOBE: full
From: postmaster@biglobe.example.jp
Subject: Returned mail: Mailbox full

   ----- The following addresses had delivery problems -----
<{to}>

Mailbox is full.
== hard - 550 OCN: no such user
From: MAILER-DAEMON@ocn.example.jp
Subject: Mail System Error - Returned Mail

<{to}>: 550 can't accept user <{to}>
== mailbox_full - 0 Plala: InterMail, full
From: Mail Administrator <Postmaster@plala.example.jp>
Subject: Mail System Error - Returned Mail

This Message was undeliverable due to the following reason:

The user(s) account is over its size limit.

    <{to}>
== hard 5.1.1 550 So-net: no such user
Return-Path: <>
From: Postmaster@so-net.example.jp
Subject: Returned mail: see transcript for details

550 5.1.1 <{to}>: User unknown
== mailbox_full 4.2.2 452 IIJ: full, given up
From: MAILER-DAEMON@iij.example.jp
Subject: Returned mail: see transcript for details

x
--delivery-status
Action: failed
Status: 4.2.2
Diagnostic-Code: SMTP; 452 4.2.2 <{to}>... Mailbox full
== mailbox_full 5.2.2 550 Sakura: quota
From: Mail Delivery Subsystem <MAILER-DAEMON@www1.sakura.example.jp>
Subject: Returned mail: see transcript for details

550 5.2.2 <{to}>... Quota exceeded
== hard - 0 MailEnable: no such domain
From: "Mail Delivery System" <Postmaster@example.com>
Subject: Message Delivery Failure

MailEnable: Message could not be delivered to some recipients.
The following recipient(s) could not be reached:

    Recipient: [SMTP:{to}]
    Reason: The message could not be delivered because the domain name (example.invalid) does not appear to be registered.
== mailbox_full 5.2.2 452 Zimbra: LMTP over quota
From: MAILER-DAEMON@zimbra.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.2.2
Diagnostic-Code: smtp; 452 4.2.2 Over quota
== blocked - 550 Mimecast: anti-spoofing
From: postmaster@mimecast.example.com
Return-Path: <>
Subject: [Postmaster] Email Delivery Failure

This is a delivery failure notification message.
550 Rejected by header based Anti-Spoofing policy: shop@example.jp
== hard 5.0.0 550 Mimecast: no such recipient
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 Invalid Recipient - https://community.example.com/docs/550 [Qx1]
== blocked 5.7.0 554 Proofpoint: the host is blocked
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.0
Diagnostic-Code: smtp; 554 5.7.0 Blocked - see https://ipcheck.example.com/?ip=192.0.2.1
== blocked 5.0.0 550 Barracuda: blocked
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 permanent failure for one or more recipients ({to}:blocked)
== hard 5.1.1 550 Barracuda: no such user
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 550 cuda_nsu 5.1.1 <{to}>: Recipient address rejected
== hard 5.1.1 0 Amazon SES: its suppression list
From: MAILER-DAEMON@amazonses.example.com
Subject: Delivery Status Notification (Failure)

An error occurred while trying to deliver the mail to the following recipients:
{to}
--delivery-status
Action: failed
Status: 5.1.1
Diagnostic-Code: Amazon SES has suppressed sending to this address because it has a recent history of bouncing
== hard 5.1.0 550 SendGrid: rejected
From: MAILER-DAEMON@sendgrid.example.net
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.1.0
Diagnostic-Code: 550 5.1.0 Address rejected
== blocked 5.7.1 554 IronPort: the reason is inside
From: Mail Delivery System <MAILER-DAEMON@esa.example.com>
Subject: Delivery Status Notification (Failure)

The following message to <{to}> was undeliverable.
--delivery-status
Action: failed
Status: 5.1.0
Diagnostic-Code: smtp; 5.1.0 - Unknown address error 554-'5.7.1 Connection refused, poor reputation'
== blocked 5.0.0 553 Symantec: filtered
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.0.0
Diagnostic-Code: smtp; 553 Message filtered. Refer to the Troubleshooting page
== hard - 550 hMailServer: without parts
From: mailer-daemon@example.com
Subject: Message undeliverable: news

Your message did not reach some or all of the intended recipients.

   {to}
   Error Type: SMTP
   Remote server (192.0.2.7) issued an error.
   The response was: 550 Unknown user
== hard 5.1.1 550 MDaemon: without parts
From: "MDaemon at mx.example.com" <MDaemon@mx.example.com>
Subject: Permanent Delivery Failure

> RCPT To:<{to}>
< 550 5.1.1 Recipient unknown <{to}>
== hard - 0 A provider in Japanese, ISO-2022-JP
From: postmaster@isp.example.jp
Return-Path: <>
Subject: =?ISO-2022-JP?B?GyRCQXc/LiUoJWkhPCROJCpDTiRpJDsbKEI=?=
Content-Type: text/plain; charset=ISO-2022-JP
Content-Transfer-Encoding: base64

GyRCMjw1LSROMDhAaCRLR1s/LiRHJC0kXiQ7JHMkRyQ3JD8hIxsoQgobJEJNfU0zGyhCOiAbJEIlZiE8JTYhPCQsOCskRCQrJGokXiQ7JHMhIxsoQg==
== content_refused 5.6.1 0 Content of a form that is not taken
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.6.1 (media not supported)
== hard 5.1.1 550 InterScan: from an address of its own
From: imss@example.com
Subject: Mail could not be delivered

****** Message from InterScan Messaging Security Suite ******
Received >>> 550 5.1.1 unknown user.
== blocked 5.7.1 550 A report that tells it in its text alone
From: ndr@example.com
Subject: news

SMTP error from remote mail server after end of data:
550-5.7.1 this message is likely unsolicited mail
--delivery-status
Action: failed
Status: 5.0.0
== soft 5.7.1 550 A server that takes no mail for the domain
From: MAILER-DAEMON@mx.example.com
Subject: Undelivered Mail Returned to Sender

x
--delivery-status
Action: failed
Status: 5.7.1
Diagnostic-Code: smtp; 550 5.7.1 Unable to relay for {to}
== soft - 0 A daemon without a subject, as a page
From: MAILER-DAEMON@example.com
Content-Type: text/html; charset=utf-8

<p>I'm afraid I wasn't able to deliver the following message.</p>
== hard - 550 A sender with a blank in its name
From: <"System Administrator"@example.com>
Subject: Delivery Failure

Reason: Remote host said: 550 unknown user <{to}>
== mailbox_full - 0 A sender without an address
From: "Some Mail System" <>
Subject: Mail Error

ErrMsg=mail box space not enough
== soft - 554 No reason that is known
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

<{to}>:
554 Transaction failed
== soft - 0 No reason at all
From: MAILER-DAEMON@mx.example.com
Subject: failure notice

Sorry.
== hard 5.1.1 0 A report whose first line of a recipient is missing
From: MAILER-DAEMON@mx.example.com
Subject: x

x
--delivery-status
Action: delivered
Status: 2.0.0
Final-Recipient: rfc822; other@example.jp
Action: Failed (bad destination)
Status: 5.1.1
)mails";

#include "tests/engine/answer_corpus.h"

std::string_view const engine_tests::other_mails_in_short = R"mails(
== delay 4.4.1 0 Postfix
From: MAILER-DAEMON@mx.example.com
Subject: Delayed Mail (still being retried)

x
--delivery-status
Action: delayed
Status: 4.4.1
Diagnostic-Code: X-Postfix; connect to mx.example.net[192.0.2.5]:25: Connection refused
== delay - 0 Sendmail, without parts
From: Mail Delivery Subsystem <MAILER-DAEMON@mx.example.com>
Subject: Warning: could not send message for past 4 hours

    **      THIS IS A WARNING MESSAGE ONLY      **
    **  YOU DO NOT NEED TO RESEND YOUR MESSAGE  **
{to}... Deferred: 451 4.1.1 User unknown for now
== delay - 0 Exim, without parts
From: Mail Delivery System <Mailer-Daemon@mx.example.com>
Subject: Warning: message 1abc-02 delayed 24 hours
Auto-Submitted: auto-replied

No action is required on your part. Delivery attempts will continue for some time.
== delay 4.4.2 451 Gmail, a folded field in capitals
From: Mail Delivery Subsystem <mailer-daemon@googlemail.example.com>
Subject: Delivery Status Notification (Delay)

x
--delivery-status
ACTION:
	Delayed
Status: 4.4.2
Diagnostic-Code: smtp; 451 4.4.2 Timeout - closing connection
== delay 4.4.7 0 Exchange
From: postmaster@example.com
Subject: Delivery delayed:news

Delivery to these recipients or groups is delayed
--delivery-status
Action: delayed
Status: 4.4.7
Will-Retry-Until: Wed, 25 Nov 2026 10:00:00 +0900
== delivered 2.0.0 0 Postfix: relayed
From: MAILER-DAEMON@mx.example.com
Subject: Successful Mail Delivery Report

x
--delivery-status
Action: relayed
Status: 2.0.0
Diagnostic-Code: smtp; 250 2.0.0 OK
== delivered 2.1.5 0 Sendmail: delivered
From: MAILER-DAEMON@mx.example.com
Subject: Return receipt

x
--delivery-status
Action: delivered (to mailbox)
Status: 2.1.5
== delivered - 0 Exchange, without parts
From: postmaster@example.com
Subject: Delivered: news

Your message has been delivered to {to}.
== auto_reply - 0 RFC 3834
From: {to}
Subject: Re: news
Auto-Submitted: auto-replied
In-Reply-To: <{id}>

配信停止 550 5.1.1 User unknown
== auto_reply - 0 Exchange
From: {to}
Subject: =?utf-8?B?6Ieq5YuV5b+c562UOiDnp4vjga7jgZTmoYjlhoU=?=

ただいま不在にしております。
== auto_reply - 0 Exchange in English
From: {to}
Subject: Automatic reply: news

I am out of the office until Monday.
== auto_reply - 0 Notes
From: {to}
Subject: Hanako Omote is out of the office.

I will be out of the office starting 2026/11/23.
== auto_reply - 0 Gmail vacation
From: {to}
Subject: Re: news
Precedence: bulk
X-Autoreply: yes
In-Reply-To: <{id}>

I'm away.
== auto_reply - 0 vacation(1)
From: {to}
Subject: away from my mail
Precedence: bulk

I will not be reading my mail for a while.
== auto_reply - 0 Precedence alone, in an answer
From: {to}
Subject: Re: news
Precedence: junk
References: <{id}>

留守にしています。
== auto_reply - 0 Precedence: auto_reply
From: {to}
Subject: news
Precedence: auto_reply

Thank you for your mail.
== auto_reply - 0 A null return path does not make it a bounce
Return-Path: <>
From: {to}
Subject: Out of Office: news

The mailbox full of 550 letters is read on Monday.
== auto_reply - 0 docomo
From: {to}
Subject: =?ISO-2022-JP?B?GyRCIVo8K0YwSlY/LiFbGyhC?=
Content-Type: text/plain; charset=ISO-2022-JP
Content-Transfer-Encoding: base64

GyRCJD8kQCQkJF5FRU9DJEs9UCRpJGwkXiQ7JHMhIxsoQg==
== auto_reply - 0 A notice of absence
From: {to}
Subject: 不在通知

11月30日まで休みます。
== auto_reply - 0 Full-width signs
From: {to}
Subject: ＡＵＴＯ：　ｎｅｗｓ

お問い合わせありがとうございます。
== auto_reply - 0 X-Autorespond
From: {to}
Subject: Re: news
X-Autorespond: news

Got it.
== auto_reply - 0 Yahoo! JAPAN
From: {to}
Subject: Yahoo!メール自動応答メッセージ

配信不要
== auto_reply - 0 An address that changed
From: {to}
Subject: news
Auto-Submitted: auto-generated

このアドレスは変わりました。退会したいときは新しいアドレスまで。
== auto_reply - 0 FirstClass
From: {to}
Subject: news
X-FC-MachineGenerated: true

Away.
== auto_reply - 0 A daemon that is on holiday
From: postmaster@example.com
Subject: 休暇中です

また来週。
== auto_reply - 0 Vacation notice
From: {to}
Subject: Vacation notice

Back on 12/1.
== auto_reply - 0 Courier
From: {to}
Subject: Re: news
X-Mail-Autoreply: mailbot

Away.
== auto_reply - 0 German
From: {to}
Subject: Abwesenheitsnotiz: news

Bis Montag.
== auto_reply - 0 An answer of a shop
From: other@example.com
Subject: 【自動返信】お問い合わせを受け付けました

配信停止はこちら https://example.com/
== challenge - 0 In English
From: {to}
Subject: Re: news
Auto-Submitted: auto-replied

Please confirm that you are human: https://example.com/c/1
== challenge - 0 A list of approved senders
From: {to}
Subject: Please verify your message

Click here to be added to my approved senders list. http://example.com/
== challenge - 0 In Japanese
From: {to}
Subject: 送信確認

このメールの送信者であることを確認するため、次のURLを開いてください。
https://example.com/c/2
== receipt - 0 RFC 8098
From: {to}
Subject: Read: news

Your message was displayed.
--disposition-notification
Final-Recipient: rfc822; {to}
Original-Message-ID: <{id}>
Disposition: manual-action/MDN-sent-manually; displayed
== deleted_unread - 0 RFC 8098
From: {to}
Subject: Not read: news

x
--disposition-notification
Original-Message-ID: <{id}>
Disposition: automatic-action/MDN-sent-automatically; deleted
== auto_reply - 0 Neither displayed nor deleted
From: {to}
Subject: news

x
--disposition-notification
Disposition: automatic-action/MDN-sent-automatically; dispatched
== receipt - 0 An old client's text
From: {to}
Subject: Read: news
References: <{id}>

Your message was read on 2026/11/23.
== receipt - 0 An old client's field
From: {to}
Subject: news
X-Disposition: displayed

<{id}>
== receipt - 0 In Japanese, ISO-2022-JP
From: {to}
Subject: =?ISO-2022-JP?B?GyRCMytJdTNORycbKEI6IBskQj0pJE4kNDBGRmIbKEI=?=
Content-Type: text/plain; charset=ISO-2022-JP
Content-Transfer-Encoding: base64

GyRCQXckaSRsJD8lYSE8JWskTzMrSXUkNSRsJF4kNyQ/ISMbKEI=
== deleted_unread - 0 In Japanese
From: {to}
Subject: 未開封: 秋のご案内

メッセージは開封されずに削除されました。
== complaint - 0 RFC 5965
From: <abuse@example.com>
Subject: FW: news

This is an email abuse report.
--feedback-report
Feedback-Type: abuse
Version: 1
Original-Rcpt-To: <{to}>
== auto_reply - 0 RFC 5965: not spam
From: <abuse@example.com>
Subject: FW: news

x
--feedback-report
Feedback-Type: not-spam
== complaint - 0 Forwarded as text
From: desk@example.com
Subject: Fwd: abuse report

お客様からの申告です。

> Feedback-Type: abuse
> User-Agent: SomeFBL/1.0
> Version: 1
== complaint - 0 Outlook.com
From: staff@hotmail.example.com
Subject: complaint about message from 192.0.2.1

x
== refusal - 0 The tag
From: {to}
Subject: x

<REFUSE>
== refusal - 0 The tag in a page
From: {to}
Subject: x
Content-Type: text/html; charset=UTF-8

<html><body><p>&lt;refuse&gt;</p></body></html>
== refusal - 0 The tag as a tag
From: {to}
Subject: x
Content-Type: text/html

<div>Hello<br><REFUSE></div>
== refusal - 0 The keyword
From: {to}
Subject: Re: news

店長さま
メール STOP でお願いします
== refusal - 0 List-Unsubscribe
From: {to}
Subject: m3-c5-abcdefghijklmn23

== refusal - 0 List-Unsubscribe, in the text
From: {to}
Subject: unsubscribe

m3-c5-abcdefghijklmn23
== refusal - 0 An empty mail
From: {to}
Subject: unsubscribe

== refusal - 0 A polite subject
From: {to}
Subject: 配信停止をお願いします。

表 花子
== refusal - 0 Full width and an answer
From: {to}
Subject: ＲＥ：　ＵＮＳＵＢＳＣＲＩＢＥ

== refusal - 0 Half-width kana, in brackets
From: {to}
Subject: =?UTF-8?B?44CQ776S772w776Z776P7722776e7728776e776d6YWN5L+h5YGc5q2i5biM5pyb44CR?=

== refusal - 0 ISO-2022-JP
From: {to}
Subject: =?ISO-2022-JP?B?GyRCQmAycTR1Sz4bKEI=?=
Content-Type: text/plain; charset=ISO-2022-JP
Content-Transfer-Encoding: base64

GyRCJGgkbSQ3JC8kKjRqJCQkNyReJDkhIxsoQg==
== refusal - 0 The first line of an answer
From: {to}
Subject: Re: 秋のご案内
In-Reply-To: <{id}>

配信不要です！

2026年11月23日(月) 10:00 店 <shop@example.jp>:
> 配信停止はこちら https://example.jp/
> いつまで続けますか?
== refusal - 0 The first line of an answer, with a device's signature and an unmarked copy
From: {to}
Subject: Re: news
References: <{id}>

メールは不要です
iPhoneから送信
-----Original Message-----
From: shop@example.jp
解除はこちら
== refusal - 0 An answer in HTML with a quotation
From: {to}
Subject: Re: news
In-Reply-To: <{id}>
Content-Type: text/html; charset=UTF-8

<div>解除してください</div><blockquote>ご質問ですか? <p>続けて</p></blockquote>
== refusal - 0 Please unsubscribe me
From: {to}
Subject: Re: news
In-Reply-To: <{id}>

Please unsubscribe me.

On Mon, Nov 23, 2026 at 10:00 AM Shop <shop@example.jp>
wrote:
> How to unsubscribe: do not reply.
== refusal - 0 Forwarded marks
From: {to}
Subject: Fwd: Re: 解除

== unclear_refusal - 0 No answer to one of our mails
From: {to}
Subject: こんにちは

配信停止
== unclear_refusal - 0 A sentence
From: {to}
Subject: Re: 秋のご案内
In-Reply-To: <{id}>

お世話になります。もう送らないでください。
== refusal - 0 Leaving as a member, with a link below
From: {to}
Subject: 会員登録の解除を希望いたします

表 花子 https://example.com/?a=1
== unclear_refusal - 0 Stop
From: {to}
Subject: Re: news
In-Reply-To: <{id}>

STOP!
== unclear_refusal - 0 Remove me
From: {to}
Subject: news

Kindly remove me from your list.
== unclear_refusal - 0 A question
From: {to}
Subject: 配信停止

配信停止の方法を教えてください。
== unclear_refusal - 0 A mistake
From: {to}
Subject: Re: news
In-Reply-To: <{id}>

解除
間違えました。続けてください。
== unclear_refusal - 0 Not to be stopped
From: {to}
Subject: 配信停止しないでください

== unclear_refusal - 0 Within a sentence
From: {to}
Subject: 会員登録

会員登録の解除について、お電話ください。
== unclear_refusal - 0 Spam, she says
From: {to}
Subject: 迷惑メール

こういうのは困ります。
== unclear_refusal - 0 Leaving
From: {to}
Subject: お願い

そろそろ退会したいと思います。
== unclear_refusal - 0 An address to delete
From: {to}
Subject: Re: news
In-Reply-To: <{id}>

このアドレスを削除しておいて

2026/11/23 10:00、shop@example.jp のメール:

秋のご案内
== unclear_refusal - 0 A word and a long story
From: {to}
Subject: 不要

先日届いた箱のことです。
箱は
要らないと
思います。
紙の袋で
十分です。
地球にも
よいです。
表
== other - 0 A question about an order
From: {to}
Subject: Re: 秋のご案内
In-Reply-To: <{id}>

包装は不要です。いつ届きますか。
> 配信停止はこちら
== other - 0 A customer quotes a bounce
From: {to}
Subject: 届きません

次のエラーが返ってきます。
550 5.1.1 <shop@example.jp>... User unknown
Mailbox full
== other - 0 A customer forwards a bounce
From: {to}
Subject: Fwd: Undelivered Mail Returned to Sender

見てください。
---------- Forwarded message ----------
From: MAILER-DAEMON@mx.example.com
This is the mail system at host mx.example.com.
550 5.1.1 User unknown
== other - 0 A letter about mail that failed
From: {to}
Subject: Delivery failure

Your last newsletter could not be delivered to me: User unknown, 550.
== other - 0 A bounce as an attached mail
From: {to}
Subject: 届きません
Content-Type: multipart/mixed; boundary=Z

--Z

これは何ですか。
--Z
Content-Type: message/rfc822

From: MAILER-DAEMON@mx.example.com
Subject: failure notice
Content-Type: multipart/report; report-type=delivery-status; boundary=Y

--Y
Content-Type: message/delivery-status

Final-Recipient: rfc822; {to}
Action: failed
Status: 5.1.1
--Y--
--Z--
== other - 0 A postmaster writes himself
From: Taro <postmaster@example.com>
Subject: 550 について

貴社のメールに 550 5.7.1 を返しています。blocked using zen.example.org
== other - 0 Our mail alone in an answer
From: {to}
Subject: Re: 配信停止はこちらから
In-Reply-To: <{id}>

ありがとうございました。

-----Original Message-----
配信停止 unsubscribe <REFUSE>
== other - 0 An answer to an automatic mail of ours
From: {to}
Subject: Re: 【自動返信】ご注文ありがとうございます

色を変えられますか。
== other - 0 A mailing list
From: list@example.com
Subject: [list] news
Precedence: bulk
List-Id: <list.example.com>

この号の内容です。
== other - 0 A long letter that says the words
From: {to}
Subject: ご相談

いつもありがとうございます。
先日のメールで配信停止の話がありましたが、
一
二
三
四
五
六
七
八
九
十
十一
十二
十三
十四
私は続けます。
== other - 0 In English
From: {to}
Subject: Visit

I will stop by the shop on Monday and read: all of it.
== other - 0 Empty
From: {to}
Subject:

== other - 0 Opened, but no receipt
From: {to}
Subject: 開封の方法

箱の開け方を教えてください。
== other - 0 A mail that was returned is no mail of hers
From: {to}
Subject: The letter was undeliverable

My parcel came back. 配達できませんでした、とのことです。
)mails";

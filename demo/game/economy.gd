extends Node
## What both sides own. Harvesters bring crystal home; crystal becomes score.

signal changed

var crystal := 200
var score := 0


func deliver(amount: int) -> void:
	crystal += amount
	score += amount * 10
	changed.emit()


func pay(amount: int) -> bool:
	if crystal < amount:
		return false
	crystal -= amount
	changed.emit()
	return true
